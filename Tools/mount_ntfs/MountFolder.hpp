// The folder that a volume is to be mounted on.
#pragma once

#include <string>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

/// An open folder and its real path. Mounting on the descriptor cannot be led astray by someone who
/// exchanges the folder for a link meanwhile.
struct MountFolder {
  UniqueFd folder;
  std::string path;
};

/// Opens the folder. Throws ToolError when it does not exist, is no folder or a symbolic link, is
/// the place of another mount, or is not empty.
[[nodiscard]] MountFolder openMountFolder(const std::string& path);

}  // namespace quorvel
