// Values of settings as a prompt shows and takes them.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Linux/Support/PropertyList.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {

/// What `words` say: TEXT, -string TEXT, -bool WORD, -data HEXADECIMAL or "-data -", for which
/// standard input is read. Throws UsageError.
[[nodiscard]] PropertyList valueFrom(Arguments words);

/// The value and a line feed: a boolean as 1 or 0, a number, text as it stands, data as
/// {length = 3, bytes = 0x616263}, and anything else as an XML property list.
[[nodiscard]] std::string valueText(plist_t value);

/// The XML property list. Throws ToolError when memory is short.
[[nodiscard]] std::string xmlOf(plist_t root);

}  // namespace quorvel
