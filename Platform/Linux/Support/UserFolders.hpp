// Where a user's files are.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// `$HOME` where it is absolute, else what the user database says, else "/".
[[nodiscard]] std::string homeFolder();

/// The file with the settings of a suite or domain: <domain>.plist in `$XDG_CONFIG_HOME` where that
/// is absolute, else in ".config" in the home folder.
[[nodiscard]] std::string settingsPath(std::string_view domain);

}  // namespace quorvel
