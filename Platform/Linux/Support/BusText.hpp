// Texts that the bus takes.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// The text with U+FFFD for what the bus would refuse the whole message for: bytes that are no
/// UTF-8, NUL, and what Unicode calls noncharacters, which names of volumes may hold.
[[nodiscard]] std::string busText(std::string_view text);

}  // namespace quorvel
