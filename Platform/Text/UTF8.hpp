// The one decoder of UTF-8, as RFC 3629 has it: no overlong forms, no surrogates, nothing above
// U+10FFFF. NUL is a character like any other. May be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

struct Character {
  std::string_view bytes;         ///< As they stand in the text.
  std::optional<char32_t> point;  ///< The code point; none for a single byte that is no UTF-8.
};

/// Takes the first character, or a byte that begins none, off `text`, which must not be empty.
Character takeCharacter(std::string_view& text);

[[nodiscard]] bool isUTF8(std::string_view bytes);

/// Whether the byte is one of a character's, but not the first.
[[nodiscard]] bool isContinuation(char byte);

/// The bytes as text; the empty text when they are not UTF-8.
[[nodiscard]] std::string decodeUTF8(std::string bytes);

/// The text with `replacement` for every byte that is no UTF-8 and every character refused.
[[nodiscard]] std::string replaceRefused(std::string_view text, bool (*isRefused)(char32_t),
                                         std::string_view replacement);

/// ASCII's control characters and those of ISO 6429: ends of lines, what steers a terminal.
[[nodiscard]] bool isControl(char32_t point);

}  // namespace quorvel
