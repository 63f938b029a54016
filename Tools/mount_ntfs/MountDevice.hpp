// The device that is to be mounted.
#pragma once

#include <string>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// Throws ToolError when the device is mounted already, holds something else than NTFS, or is an
/// image of somebody else's. `name` is what the caller called it.
void requireMountable(const BlockDevice& device, const std::string& name);

}  // namespace quorvel
