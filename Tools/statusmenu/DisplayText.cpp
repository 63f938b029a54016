#include "Tools/statusmenu/DisplayText.hpp"

#include <algorithm>
#include <bit>
#include <clocale>
#include <cwchar>

#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

struct Character {
  char32_t code = 0;
  std::size_t size = 0;  ///< Bytes.
};

// The first byte of a sequence of several starts with as many ones as there are bytes.
Character firstCharacter(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const auto ones = static_cast<std::size_t>(std::countl_one(first));
  Character character{.code = first & (0xFFU >> ones), .size = std::max<std::size_t>(ones, 1)};
  for (std::size_t i = 1; i < character.size; ++i) {
    character.code = character.code << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  return character;
}

// Ends of lines, and marks that turn the direction of what follows on the screen.
bool isLayoutControl(char32_t code) {
  return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

std::string withoutLayoutControls(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    result += isLayoutControl(character.code) ? "?" : text.substr(0, character.size);
    text.remove_prefix(character.size);
  }
  return result;
}

std::string withoutMnemonics(std::string_view label) {
  std::string result;
  for (std::size_t i = 0; i < label.size(); ++i) {
    if (label[i] == '_' && ++i == label.size()) {
      break;
    }
    result += label[i];
  }
  return result;
}

}  // namespace

std::string titleFromLabel(std::string_view label) { return safeText(withoutMnemonics(label)); }

std::string safeText(std::string_view text) { return withoutLayoutControls(printable(text)); }

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    const int columns = ::wcwidth(static_cast<wchar_t>(character.code));
    width += columns < 0 ? 1U : static_cast<std::size_t>(columns);
    text.remove_prefix(character.size);
  }
  return width;
}

void useWideCharacters() {
  // Without such a locale the text is the same, and only less well aligned.
  // NOLINTNEXTLINE(concurrency-mt-unsafe): there are no threads yet.
  static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));
}

}  // namespace quorvel
