#include "Platform/Foundation/NSDateFormatter.hpp"

#include <algorithm>
#include <ctime>

namespace quorvel {
namespace {

constexpr std::string_view kFieldLetters = "yMdHmsS";

/// A point in time, taken apart in the user's time zone.
struct Moment {
  std::tm calendar{};
  int milliseconds = 0;

  explicit Moment(std::chrono::system_clock::time_point date) {
    using std::chrono::floor;
    const auto second = floor<std::chrono::seconds>(date);
    const std::time_t time = std::chrono::system_clock::to_time_t(second);
    ::localtime_r(&time, &calendar);
    milliseconds = static_cast<int>(floor<std::chrono::milliseconds>(date - second).count());
  }

  [[nodiscard]] int value(char letter) const {
    constexpr int kFirstYear = 1900;
    switch (letter) {
      case 'y':
        return calendar.tm_year + kFirstYear;
      case 'M':
        return calendar.tm_mon + 1;
      case 'd':
        return calendar.tm_mday;
      case 'H':
        return calendar.tm_hour;
      case 'm':
        return calendar.tm_min;
      case 's':
        return calendar.tm_sec;
      default:
        return milliseconds;
    }
  }
};

void appendPadded(std::string& text, int value, int width) {
  const std::string digits = std::to_string(value);
  const auto missing = width - static_cast<int>(digits.size());
  text.append(static_cast<std::size_t>(std::max(missing, 0)), '0').append(digits);
}

}  // namespace

void NSDateFormatter::setDateFormat(std::string_view pattern) {
  fields_.clear();
  for (const char letter : pattern) {
    if (!fields_.empty() && fields_.back().letter == letter) {
      ++fields_.back().width;
    } else {
      fields_.push_back({letter, 1});
    }
  }
}

std::string NSDateFormatter::stringFromDate(std::chrono::system_clock::time_point date) const {
  const Moment moment(date);
  std::string text;
  for (const Field& field : fields_) {
    if (kFieldLetters.find(field.letter) == std::string_view::npos) {
      text.append(static_cast<std::size_t>(field.width), field.letter);
    } else {
      appendPadded(text, moment.value(field.letter), field.width);
    }
  }
  return text;
}

}  // namespace quorvel
