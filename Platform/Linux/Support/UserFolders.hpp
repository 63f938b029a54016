// Where a user's files are.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// `$HOME`, else what the user database says, else "/".
[[nodiscard]] std::string homeFolder();

/// `$XDG_CONFIG_HOME`, else ".config" in the home folder.
[[nodiscard]] std::string configurationFolder();

/// For what need not outlive a login: `$XDG_RUNTIME_DIR`, else where that usually is, for those who
/// come by another road than a login. It may be missing, or another user's.
[[nodiscard]] std::string runtimeFolder();

/// The file with the settings of a suite or domain: <domain>.plist in that folder.
[[nodiscard]] std::string settingsPath(std::string_view domain);

}  // namespace quorvel
