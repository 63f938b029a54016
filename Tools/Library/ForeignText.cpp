#include "Tools/Library/ForeignText.hpp"

#include <algorithm>

#include "Platform/Text/UTF8.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kLongestFileName = 255;  // NAME_MAX, in bytes.

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

// What ends a line or a paragraph, and what turns the direction of what follows.
bool isMisleading(char32_t point) {
  return point == 0x061C || point == 0x200E || point == 0x200F ||
         (point >= 0x2028 && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
}

}  // namespace

std::string printable(std::string_view text) {
  return replaceRefused(
      text, [](char32_t point) { return isControl(point) || isMisleading(point); }, "?");
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

std::string padding(std::string_view text, std::size_t width) {
  const auto continuations = std::ranges::count_if(text, isContinuation);
  const std::size_t count = text.size() - static_cast<std::size_t>(continuations);
  // NOLINTNEXTLINE(*-return-braced-init-list): that would be a text of two characters.
  return std::string(width - std::min(count, width), ' ');
}

}  // namespace quorvel
