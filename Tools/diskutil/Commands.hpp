// The subcommands of diskutil, one file each.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Each returns the exit status, writes its results to standard output and its complaints to
/// standard error, and throws ToolError otherwise; NeedsRoot when it is to be run again as root.
/// `argument` is an identifier or a device node; anything else names no disk (see Lookup.hpp).

/// `diskutil list`. Also clears away what pulled disks left behind.
int listCommand();
/// `diskutil info ID`
int infoCommand(std::string_view argument);
/// The name in what `diskutil info` printed; none when that is of no volume.
[[nodiscard]] std::optional<std::string> volumeNameIn(std::string_view info);
/// `diskutil mount ID`: the system's own mount, read-only, in /Volumes.
int mountCommand(std::string_view argument);
/// `diskutil umount ID`: wherever, and however often, the volume is mounted.
int unmountCommand(std::string_view argument);

}  // namespace quorvel
