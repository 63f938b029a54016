// The subcommands of diskutil, one file each.
#pragma once

#include <string_view>

namespace quorvel {

/// Each returns the exit status, writes its results to standard output and its complaints to
/// standard error, and throws ToolError otherwise; NeedsRoot when it is to be run again as root.

/// `diskutil list`. Also clears away what pulled disks left behind.
int listCommand();
/// `diskutil info ID`
int infoCommand(std::string_view argument);
/// `diskutil mount ID`: the system's own mount, read-only, in /Volumes.
int mountCommand(std::string_view argument);
/// `diskutil umount ID`: wherever, and however often, the volume is mounted.
int unmountCommand(std::string_view argument);

}  // namespace quorvel
