// Well-known folders.
#pragma once

#include <string>

namespace quorvel {

/// The user's home folder: `$HOME` where it is absolute, else what the user database says. Makes
/// sure that a Desktop folder is in it, as programs expect. May be called from any thread.
std::string NSHomeDirectory();

}  // namespace quorvel
