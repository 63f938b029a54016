#include "Platform/Linux/Support/BusObjects.hpp"

#include <algorithm>
#include <cstdint>

namespace quorvel {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

/// How many bytes the UTF-8 character has that begins with `lead`.
std::size_t characterLength(char lead) {
  const auto byte = static_cast<std::uint8_t>(lead);
  constexpr std::uint8_t kTwo = 0xC0;
  constexpr std::uint8_t kThree = 0xE0;
  constexpr std::uint8_t kFour = 0xF0;
  return byte >= kFour ? 4 : byte >= kThree ? 3 : byte >= kTwo ? 2 : 1;
}

/// U+FDD0 to U+FDEF, and the last two code points of every plane.
bool isNoncharacter(std::string_view character) {
  if (character.size() == 3) {
    return character.ends_with("\xBF\xBE") || character.ends_with("\xBF\xBF")
               ? character.front() == '\xEF'
               : character >= "\xEF\xB7\x90" && character <= "\xEF\xB7\xAF";
  }
  constexpr std::uint8_t kLastOfPlane = 0x0F;
  return character.size() == 4 &&
         (static_cast<std::uint8_t>(character[1]) & kLastOfPlane) == kLastOfPlane &&
         (character.ends_with("\xBF\xBE") || character.ends_with("\xBF\xBF"));
}

}  // namespace

std::string busText(std::string_view text) {
  std::string accepted;
  while (!text.empty()) {
    const auto character = text.substr(0, characterLength(text.front()));
    const bool isRefused = isNoncharacter(character) || character.front() == '\0';
    accepted.append(isRefused ? kReplacement : character);
    text.remove_prefix(character.size());
  }
  return accepted;
}

}  // namespace quorvel
