#include "Platform/Foundation/NSDateFormatter.hpp"

#include <ctime>

namespace quorvel {
namespace {

constexpr char kFraction = 'S';
constexpr int kLiteral = -1;

int valueOf(const std::tm& calendar, char letter) {
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
    case kFraction:
      return 0;
    default:
      return kLiteral;
  }
}

/// Writes the last `width` digits of a number to `position` and what follows.
void overwriteDigits(std::string& text, std::size_t position, std::size_t width, int value) {
  constexpr int kBase = 10;
  for (std::size_t digit = width; digit > 0; --digit) {
    text[position + digit - 1] = static_cast<char>('0' + value % kBase);
    value /= kBase;
  }
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

const std::string& NSDateFormatter::stringFromDate(std::chrono::system_clock::time_point date) {
  const auto second = std::chrono::floor<std::chrono::seconds>(date);
  if (second != second_) {
    format(second);
  }
  const auto fraction = std::chrono::floor<std::chrono::milliseconds>(date - second);
  overwriteFractions(static_cast<int>(fraction.count()));
  return text_;
}

// Taking a date apart costs more than writing it: what comes within one second shares that.
void NSDateFormatter::format(std::chrono::sys_seconds second) {
  const std::time_t time = std::chrono::system_clock::to_time_t(second);
  std::tm calendar{};
  ::localtime_r(&time, &calendar);
  second_ = second;
  text_.clear();
  for (const Field& field : fields_) {
    const int value = valueOf(calendar, field.letter);
    text_.append(field.width, field.letter);
    if (value != kLiteral) {
      overwriteDigits(text_, text_.size() - field.width, field.width, value);
    }
  }
}

void NSDateFormatter::overwriteFractions(int milliseconds) {
  std::size_t position = 0;
  for (const Field& field : fields_) {
    if (field.letter == kFraction) {
      overwriteDigits(text_, position, field.width, milliseconds);
    }
    position += field.width;
  }
}

}  // namespace quorvel
