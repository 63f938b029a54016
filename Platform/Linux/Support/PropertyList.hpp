// Property lists as they stand in files.
#pragma once

#include <plist/plist.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Linux/Support/Owned.hpp"

namespace quorvel {

/// Owns a property list with all that is below it.
using PropertyList = Owned<void, ::plist_free>;

/// The settings are shared with a main application that may keep much in them.
inline constexpr std::size_t kLargestPropertyList = std::size_t{16} << 20U;

/// Reads an XML or binary property list whose root is a dictionary. Null with errno set when the
/// file is missing, unreadable or larger than `kLargestPropertyList` (EFBIG), and with EINVAL when
/// it is anything else, or nested too deep. May be called from any thread.
[[nodiscard]] PropertyList readPropertyList(const std::string& path);

/// The node under `key` of a dictionary; it belongs to the dictionary. Null when there is none, and
/// of what is null or no dictionary.
[[nodiscard]] plist_t propertyListItem(plist_t dictionary, std::string_view key);

/// The text of a node; none when the node is null or no text.
[[nodiscard]] std::optional<std::string> propertyListText(plist_t node);

}  // namespace quorvel
