// Loop devices: disks that are files.
#pragma once

#include <sys/types.h>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// Throws ToolError when the disk is an image file that belongs neither to root nor to our caller,
/// that everybody may write to, or whose owner cannot be found out; not when root calls.
void requireCallersImage(const BlockDevice& device);

}  // namespace quorvel
