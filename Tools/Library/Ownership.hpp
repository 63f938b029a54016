// What is whose: disk images, and mounts.
#pragma once

#include <vector>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/MountTable.hpp"

namespace quorvel {

/// Throws ToolError when the disk is an image file that belongs neither to root nor to our caller,
/// that everybody may write to, or whose owner cannot be found out; not when root calls.
void requireCallersImage(const BlockDevice& device);

/// Throws ToolError when our caller, an ordinary user, may not unmount the device: /etc/fstab has
/// it, another user has mounted it, or it is another user's disk image. Root may unmount all, and
/// what the system itself has mounted is nobody's. `contents` and `mounts` are those of the device.
/// Believes nothing that the volume or another user could have written.
void requireMayUnmount(const BlockDevice& device, const Contents& contents,
                       const std::vector<MountEntry>& mounts);

}  // namespace quorvel
