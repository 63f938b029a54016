// The file that holds the settings of one domain.
#pragma once

#include <functional>
#include <string_view>

#include "Platform/Linux/Support/PropertyList.hpp"

namespace quorvel {

// Writers replace the file as a whole, so a reader sees the old settings or the new ones. Both of
// these throw ToolError, also when the domain is not fit for a file's name.

/// The settings; null when there is no file. A file that cannot be read or is something else is an
/// error, so that nothing is lost by writing it anew.
[[nodiscard]] PropertyList readSettings(std::string_view domain);

/// Has `change` applied to the settings, and puts the result in the file's place: synchronized,
/// readable by the user alone. Makes the folder if it is missing, and takes the file away when
/// nothing is left to be in it. No other `defaults` changes the settings meanwhile.
void changeSettings(std::string_view domain, const std::function<void(plist_t)>& change);

}  // namespace quorvel
