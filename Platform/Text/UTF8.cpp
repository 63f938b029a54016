#include "Platform/Text/UTF8.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

namespace quorvel {
namespace {

constexpr char32_t kLargest = 0x10FFFF;

/// The smallest code point of a sequence whose first byte has so many leading ones: none has one.
constexpr std::array<char32_t, 5> kSmallest{0, kLargest + 1, 0x80, 0x800, 0x10000};

bool isSurrogate(char32_t point) { return point >= 0xD800 && point <= 0xDFFF; }

/// Of a sequence that is to begin with a byte of so many leading ones.
std::optional<char32_t> codePoint(std::string_view bytes, std::size_t ones) {
  const auto further = bytes.substr(1);
  if (ones >= kSmallest.size() || bytes.size() < ones ||
      !std::ranges::all_of(further, isContinuation)) {
    return std::nullopt;
  }
  char32_t point = static_cast<std::uint8_t>(bytes.front()) & (0xFFU >> ones);
  for (const char byte : further) {
    point = point << 6U | (static_cast<std::uint8_t>(byte) & 0x3FU);
  }
  const bool isCharacter = point >= kSmallest.at(ones) && point <= kLargest && !isSurrogate(point);
  return isCharacter ? std::optional(point) : std::nullopt;
}

}  // namespace

bool isContinuation(char byte) { return (static_cast<std::uint8_t>(byte) & 0xC0U) == 0x80U; }

// The first of several bytes starts with as many ones as there are bytes.
Character takeCharacter(std::string_view& text) {
  const auto ones =
      static_cast<std::size_t>(std::countl_one(static_cast<std::uint8_t>(text.front())));
  const std::string_view bytes = text.substr(0, std::max<std::size_t>(ones, 1));
  const auto point = codePoint(bytes, ones);
  const Character character{.bytes = point ? bytes : text.substr(0, 1), .point = point};
  text.remove_prefix(character.bytes.size());
  return character;
}

bool isUTF8(std::string_view bytes) {
  while (!bytes.empty()) {
    if (!takeCharacter(bytes).point) {
      return false;
    }
  }
  return true;
}

std::string decodeUTF8(std::string bytes) {
  return isUTF8(bytes) ? std::move(bytes) : std::string();
}

std::string replaceRefused(std::string_view text, bool (*isRefused)(char32_t),
                           std::string_view replacement) {
  std::string result;
  while (!text.empty()) {
    const Character character = takeCharacter(text);
    const bool stays = character.point && !isRefused(*character.point);
    result += stays ? character.bytes : replacement;
  }
  return result;
}

bool isControl(char32_t point) { return point < 0x20 || (point >= 0x7F && point < 0xA0); }

}  // namespace quorvel
