// The folder that a volume is to be mounted on.
#pragma once

#include <sys/types.h>

#include <string>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

/// An open folder and its real path. Mounting on the descriptor cannot be led astray by someone who
/// exchanges the folder for a link meanwhile.
struct MountFolder {
  UniqueFd folder;
  std::string path;
};

/// Opens the folder for this user. Throws ToolError when it does not exist, is no folder or a
/// symbolic link, is neither the user's nor root's, is the place of another mount, or is not empty.
/// Root may take any folder.
[[nodiscard]] MountFolder openMountFolder(const std::string& path, uid_t user);

/// Throws ToolError when another file system is mounted on the folder. Asks the kernel alone.
void requireNoMount(const MountFolder& folder);

}  // namespace quorvel
