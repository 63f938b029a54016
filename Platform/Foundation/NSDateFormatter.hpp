// Dates as text.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Formats points in time in the user's time zone. One thread at a time.
class NSDateFormatter {
 public:
  /// A Unicode date pattern (UTS #35, "Date Format Patterns") of numeric fields: runs of y, M, d,
  /// H, m, s, S (year, month, day, hour 0-23, minute, second, fraction of a second), each padded
  /// with zeros to the length of its run; every other character stands for itself.
  void setDateFormat(std::string_view pattern);
  [[nodiscard]] const std::string& stringFromDate(std::chrono::system_clock::time_point date);

 private:
  struct Field {
    char letter;
    std::size_t width;
  };

  void format(std::chrono::sys_seconds second);
  void overwriteFractions(int milliseconds);

  std::vector<Field> fields_;
  std::chrono::sys_seconds second_ = std::chrono::sys_seconds::min();
  std::string text_;  ///< `second_`, and the fraction last asked for.
};

}  // namespace quorvel
