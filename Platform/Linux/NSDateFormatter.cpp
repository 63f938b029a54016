#include "Platform/Foundation/NSDateFormatter.hpp"

#include <array>
#include <ctime>

namespace quorvel {
namespace {

std::string textOf(std::chrono::sys_seconds second) {
  const std::time_t time = std::chrono::system_clock::to_time_t(second);
  std::tm calendar{};
  ::localtime_r(&time, &calendar);
  std::array<char, 64> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S.000", &calendar)};
}

}  // namespace

const std::string& NSDateFormatter::stringFromDate(std::chrono::system_clock::time_point date) {
  const auto second = std::chrono::floor<std::chrono::seconds>(date);
  if (second != second_) {
    text_ = textOf(second);
    second_ = second;
  }
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(date - second).count();
  return text_.replace(text_.size() - 3, 3, std::to_string(1000 + milliseconds), 1, 3);
}

}  // namespace quorvel
