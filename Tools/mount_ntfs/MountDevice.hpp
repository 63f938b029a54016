// The device that is to be mounted.
#pragma once

#include <string>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

struct MountDevice {
  BlockDevice device;
  std::string node;     ///< The path that the driver mounts from.
  bool isOurs = false;  ///< The node is /dev/diskNsM, which may have to be made.
};

/// The device behind "/dev/disk3s1", whose node need not exist, or behind any other block node.
/// Throws ToolError when there is no such device, when it is mounted already, or holds
/// something else than NTFS.
[[nodiscard]] MountDevice findMountDevice(const std::string& path);

}  // namespace quorvel
