// Well-known folders.
#pragma once

#include <string>

namespace quorvel {

// May be called from any thread.

/// The user's home folder: `$HOME` where it is absolute, else what the user database says.
std::string NSHomeDirectory();

/// The folder that programs expect what is on the user's desktop in, "Desktop" in the home folder.
/// Where there is nothing of that name, it is made: as a link to the folder that the desktop shows,
/// where that is another one (XDG_DESKTOP_DIR in user-dirs.dirs, xdg-user-dirs), else as a folder.
std::string NSDesktopDirectory();

}  // namespace quorvel
