// Text decoding.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// Whether the bytes are UTF-8 as RFC 3629 has it: no overlong forms, no surrogates, nothing above
/// U+10FFFF. NUL bytes are characters like any other.
[[nodiscard]] bool isUTF8(std::string_view bytes);

/// The bytes as text; the empty text when they are not UTF-8.
[[nodiscard]] std::string decodeUTF8(std::string bytes);

}  // namespace quorvel
