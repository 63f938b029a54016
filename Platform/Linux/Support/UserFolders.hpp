// Where a user's files are.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// `$HOME`, else what the user database says, else "/".
[[nodiscard]] std::string homeFolder();

/// The file with the settings of a suite or domain: <domain>.plist in `$XDG_CONFIG_HOME`, else in
/// ".config" in the home folder.
[[nodiscard]] std::string settingsPath(std::string_view domain);

}  // namespace quorvel
