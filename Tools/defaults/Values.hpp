// Values of settings as a prompt shows and takes them.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Linux/Support/PropertyList.hpp"

namespace quorvel {

/// A -string of that text, a -bool that is "true" or "false", or -data in hexadecimal; for "-"
/// these are all of standard input without one line feed at its end. Throws UsageError, or
/// ToolError when standard input is a terminal or cannot be read.
[[nodiscard]] PropertyList valueFrom(std::string_view type, std::string_view text);

/// The value and a line feed: a boolean as 1 or 0, a number, text as it stands, data as
/// {length = 3, bytes = 0x616263}, and anything else as an XML property list.
[[nodiscard]] std::string valueText(plist_t value);

/// The XML property list. Throws ToolError when memory is short.
[[nodiscard]] std::string xmlOf(plist_t root);

}  // namespace quorvel
