// Something that is tried over and over.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <utility>

namespace quorvel::test {

/// A few rounds in ./test, many in ./test --long, which shows how far it is. At its end it prints a
/// row for the table of ./test --long: what was tried, how often, and whether anything was lost.
///
///     for (Trial trial("Agent killed", 3, 100); trial.next();) { ... }
class Trial {
 public:
  Trial(std::string what, int rounds, int roundsOfLong)
      : what_(std::move(what)),  // NOLINTNEXTLINE(concurrency-mt-unsafe): for one thread.
        rounds_(std::getenv("QUORVEL_LONG") == nullptr ? rounds : roundsOfLong) {}
  ~Trial() {
    std::cout << "row: " << what_ << " | " << round_ << " | "
              << (testing::Test::HasFailure() ? "see the failure" : "nothing") << std::endl;
  }
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  /// Begins another round; false when all are done or the test has failed.
  bool next() {
    if (round_ == rounds_ || testing::Test::HasFailure()) {
      return false;
    }
    if (++round_ % (rounds_ / 20 + 1) == 0) {
      std::cout << what_ << ": " << round_ << " of " << rounds_ << std::endl;
    }
    return true;
  }
  [[nodiscard]] int round() const { return round_; }
  [[nodiscard]] int rounds() const { return rounds_; }

 private:
  std::string what_;
  int rounds_;
  int round_ = 0;  ///< Begun so far.
};

}  // namespace quorvel::test
