#include "Tools/Library/VolumeName.hpp"

#include <algorithm>
#include <cstdint>

namespace quorvel {
namespace {

constexpr std::size_t kLongestFileName = 255;  // NAME_MAX, in bytes.

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

// The length that a sequence with this first byte has; 0 for a byte that cannot be one.
std::size_t sequenceLength(unsigned char first) {
  if (first < 0x80) {
    return 1;
  }
  if (first >= 0xC2 && first <= 0xDF) {
    return 2;
  }
  if (first >= 0xE0 && first <= 0xEF) {
    return 3;
  }
  return first >= 0xF0 && first <= 0xF4 ? 4 : 0;
}

// Overlong forms, surrogates and what lies beyond U+10FFFF show in the second byte (Unicode,
// "Well-Formed UTF-8 Byte Sequences").
bool isSecondByteValid(unsigned char first, unsigned char second) {
  switch (first) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second <= 0x9F;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second <= 0x8F;
    default:
      return true;
  }
}

// The well-formed sequence at the front of `text`; empty when there is none.
std::string_view leadingSequence(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::string_view sequence = text.substr(0, sequenceLength(first));
  if (sequence.size() != sequenceLength(first) || sequence.empty()) {
    return {};
  }
  const std::string_view tail = sequence.substr(1);
  if (!std::all_of(tail.begin(), tail.end(), isContinuation)) {
    return {};
  }
  if (!tail.empty() && !isSecondByteValid(first, static_cast<unsigned char>(tail.front()))) {
    return {};
  }
  return sequence;
}

bool isControl(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence.front());
  if (sequence.size() == 1) {
    return first < 0x20 || first == 0x7F;
  }
  return first == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0;
}

// At most `limit` bytes of `text`, cut between two characters.
std::string_view shortened(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) {
    return text;
  }
  while (limit > 0 && isContinuation(text[limit])) {
    --limit;
  }
  return text.substr(0, limit);
}

std::string_view trimmed(std::string_view text) {
  const std::size_t start = std::min(text.find_first_not_of(' '), text.size());
  const std::size_t end = text.find_last_not_of(' ') + 1;
  return text.substr(start, std::max(end, start) - start);
}

// "." and ".." lead elsewhere. So does a part of the name between colons: whoever reads a row
// "Volume Name: x:.." may take what follows the last colon, and of colons alone nothing is left.
void disarm(std::string& name) {
  if (name.find_first_not_of(": ") == std::string::npos) {
    std::replace(name.begin(), name.end(), ':', '?');
  }
  for (std::size_t start = 0; start < name.size();) {
    const std::size_t end = std::min(name.find(':', start), name.size());
    const std::string_view part = trimmed(std::string_view(name).substr(start, end - start));
    if (part == "." || part == "..") {
      const auto from = name.begin() + static_cast<std::ptrdiff_t>(start);
      std::replace(from, name.begin() + static_cast<std::ptrdiff_t>(end), '.', '?');
    }
    start = end + 1;
  }
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::string_view sequence = leadingSequence(text);
    if (sequence.empty() || isControl(sequence)) {
      result += '?';
    } else {
      result += sequence;
    }
    text.remove_prefix(std::max<std::size_t>(sequence.size(), 1));
  }
  return result;
}

bool isValidText(std::string_view text) {
  while (!text.empty() && !leadingSequence(text).empty()) {
    text.remove_prefix(leadingSequence(text).size());
  }
  return text.empty();
}

std::string volumeName(std::string_view label) {
  std::string name(shortened(printable(label), kLongestFileName));
  std::replace(name.begin(), name.end(), '/', ':');
  name.erase(name.find_last_not_of(' ') + 1);
  disarm(name);
  return name.empty() ? "Untitled" : name;
}

std::string numberedName(std::string_view name, unsigned number) {
  if (number == 0) {
    return std::string(name);
  }
  std::string suffix(1, ' ');
  suffix += std::to_string(number);
  return std::string(shortened(name, kLongestFileName - suffix.size())) + suffix;
}

std::size_t characterCount(std::string_view text) {
  return text.size() -
         static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

}  // namespace quorvel
