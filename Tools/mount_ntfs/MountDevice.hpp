// The device that is to be mounted.
#pragma once

#include <string>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// What "/dev/disk3s1", whose node need not exist, or any other block node is called. The path is
/// not looked at again: what it leads to may be another device by then. Throws ToolError when there
/// is no such node.
[[nodiscard]] Identifier identifyDevice(const std::string& path);

/// The device with this identifier. `path` is what the caller called it. Throws ToolError when
/// there is no such device, when it is mounted already, or holds something else than NTFS.
[[nodiscard]] BlockDevice requireMountable(const Identifier& identifier, const std::string& path);

}  // namespace quorvel
