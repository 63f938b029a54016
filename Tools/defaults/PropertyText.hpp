// Property lists as `defaults read` prints them.
#pragma once

#include <plist/plist.h>

#include <string>

namespace quorvel {

/// The value: a boolean as 1 or 0, text as it stands, data as {length = 3, bytes = 0x616263},
/// arrays and dictionaries in brackets over several rows. Ends without a line feed.
[[nodiscard]] std::string propertyText(plist_t node);

}  // namespace quorvel
