// How deep a property list is nested, and how far it unfolds, told before it is parsed.
#pragma once

#include <string_view>

namespace quorvel {

/// Whether an XML or binary property list is nested deeper than anybody's settings are, or a binary
/// one has more in it. libplist calls itself for every level and would come to the end of a
/// thread's stack; for a binary list it also takes time by the square, and memory for every way to
/// an object. Of a damaged list it may say either; may be called from any thread.
[[nodiscard]] bool isNestedTooDeep(std::string_view list);

}  // namespace quorvel
