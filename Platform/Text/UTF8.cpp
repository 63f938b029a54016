#include "Platform/Text/UTF8.hpp"

#include <algorithm>
#include <array>
#include <cstdint>

namespace quorvel {
namespace {

/// How a sequence goes on after its first byte (RFC 3629, section 4): the number of further bytes,
/// and the range of the second; all others are 80 to BF.
struct Sequence {
  std::uint8_t first;
  std::uint8_t last;
  std::size_t furtherBytes;
  std::uint8_t secondFrom;
  std::uint8_t secondTo;
};

constexpr std::array<Sequence, 9> kSequences{{{0x00, 0x7F, 0, 0, 0},
                                              {0xC2, 0xDF, 1, 0x80, 0xBF},
                                              {0xE0, 0xE0, 2, 0xA0, 0xBF},
                                              {0xE1, 0xEC, 2, 0x80, 0xBF},
                                              {0xED, 0xED, 2, 0x80, 0x9F},
                                              {0xEE, 0xEF, 2, 0x80, 0xBF},
                                              {0xF0, 0xF0, 3, 0x90, 0xBF},
                                              {0xF1, 0xF3, 3, 0x80, 0xBF},
                                              {0xF4, 0xF4, 3, 0x80, 0x8F}}};

std::uint8_t byteAt(std::string_view bytes, std::size_t position) {
  return static_cast<std::uint8_t>(bytes[position]);
}

bool continues(std::string_view bytes, const Sequence& sequence) {
  if (bytes.size() <= sequence.furtherBytes) {
    return false;
  }
  const std::uint8_t second = byteAt(bytes, 1);
  const std::string_view others = bytes.substr(2, sequence.furtherBytes - 1);
  return second >= sequence.secondFrom && second <= sequence.secondTo &&
         std::all_of(others.begin(), others.end(),
                     [](char byte) { return (static_cast<std::uint8_t>(byte) & 0xC0U) == 0x80U; });
}

/// The length of the character that the bytes begin with; none when it is no character.
std::optional<std::size_t> firstCharacterLength(std::string_view bytes) {
  const std::uint8_t lead = byteAt(bytes, 0);
  for (const Sequence& sequence : kSequences) {
    if (lead >= sequence.first && lead <= sequence.last) {
      const bool whole = sequence.furtherBytes == 0 || continues(bytes, sequence);
      return whole ? std::optional(sequence.furtherBytes + 1) : std::nullopt;
    }
  }
  return std::nullopt;
}

/// Of one whole sequence. The first of several bytes starts with as many ones as there are bytes.
char32_t codePoint(std::string_view bytes) {
  char32_t point = byteAt(bytes, 0);
  if (bytes.size() > 1) {
    point &= 0xFFU >> bytes.size();
  }
  for (std::size_t i = 1; i < bytes.size(); ++i) {
    point = point << 6U | (byteAt(bytes, i) & 0x3FU);
  }
  return point;
}

}  // namespace

Character takeCharacter(std::string_view& text) {
  const auto length = firstCharacterLength(text);
  Character character{.bytes = text.substr(0, length.value_or(1)), .point = std::nullopt};
  if (length) {
    character.point = codePoint(character.bytes);
  }
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
