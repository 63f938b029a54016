// Dates as text.
#pragma once

#include <chrono>
#include <string>

namespace quorvel {

/// Formats points in time in the user's time zone: "2026-11-22 22:06:50.834". One thread at a time.
class NSDateFormatter {
 public:
  [[nodiscard]] const std::string& stringFromDate(std::chrono::system_clock::time_point date);

 private:
  // Taking a date apart costs more than writing it: what comes within one second shares that.
  std::chrono::sys_seconds second_ = std::chrono::sys_seconds::min();
  std::string text_;  ///< That second, and the milliseconds last asked for.
};

}  // namespace quorvel
