// The subcommands of diskutil, one file each.
#pragma once

#include <string_view>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

// Each returns the exit status, writes its results to standard output and its complaints to
// standard error, and throws ToolError otherwise.

/// `diskutil list`. For whoever may read the devices' contents.
int listCommand(const BlockDevices& devices);
/// `diskutil info ID`. For whoever may read the device's contents.
int infoCommand(const BlockDevice& device);
/// `diskutil mount ID`: the system's own mount, read-only, in /Volumes. Another user's disk image
/// is not mounted. Root only.
int mountCommand(const BlockDevice& device);
/// `diskutil umount ID`: wherever, and however often, the volume is mounted. Root only.
int unmountCommand(const BlockDevice& device);

/// Whether `diskutil info` printed this of a volume with the name.
[[nodiscard]] bool describesVolume(std::string_view info, std::string_view name);

}  // namespace quorvel
