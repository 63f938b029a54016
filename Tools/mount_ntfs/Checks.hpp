// What must be so before a volume is mounted: of its device, and of the folder. All throw
// ToolError.
#pragma once

#include <sys/types.h>

#include <string>

#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// An open folder and its real path. Mounting on the descriptor cannot be led astray by someone who
/// exchanges the folder for a link meanwhile.
struct MountFolder {
  UniqueFd descriptor;
  std::string path;
};

/// Opens the folder for this user. Throws when it does not exist, is no folder or a symbolic link,
/// is neither the user's nor root's, is the place of another mount, or is not empty. Root may take
/// any folder.
[[nodiscard]] MountFolder openMountFolder(const std::string& path, uid_t user);

/// Throws when another file system is mounted on the folder. Asks the kernel alone.
void requireNoMount(const MountFolder& folder);

/// Throws when the device is mounted already, holds something else than NTFS, or is an image of
/// somebody else's. `name` is what the caller called it.
void requireMountable(const BlockDevice& device, const std::string& name);

}  // namespace quorvel
