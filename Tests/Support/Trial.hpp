// Something that is tried over and over.
#pragma once

#include <string>

namespace quorvel::test {

/// A few rounds in ./test, many in ./test --long, which shows how far it is. At its end it prints a
/// row for the table of ./test --long: what was tried, how often, and whether anything was lost.
/// For the thread of one test.
///
///     for (Trial trial("Agent killed", 3, 100); trial.next();) { ... }
class Trial {
 public:
  Trial(std::string what, int rounds, int roundsOfLong);
  ~Trial();
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  /// Begins another round; false when all are done or the test has failed.
  bool next();
  [[nodiscard]] int round() const { return round_; }
  [[nodiscard]] int rounds() const { return rounds_; }

 private:
  std::string what_;
  int rounds_;
  int round_ = 0;  ///< Begun so far.
};

}  // namespace quorvel::test
