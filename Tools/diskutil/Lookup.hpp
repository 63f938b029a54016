// From what a person typed to a device.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// The identifier ("disk3s1") or device node of what an argument names. It may be one of these
/// itself, and then never anything else, whatever a volume is called; a mount point (an absolute
/// path, symbolic links followed); or the name of a volume, exactly as the list shows it. An
/// argument that names nothing comes back as it is. Throws ToolError when several volumes have the
/// name, or when names need root and sudo refuses.
[[nodiscard]] std::string resolveArgument(std::string_view argument);

/// The device with this identifier or device node. None when there is no such device. The result
/// points into `disks`.
[[nodiscard]] std::optional<FoundDevice> findByArgument(const std::vector<Disk>& disks,
                                                        std::string_view argument);

/// The same for mounting and unmounting: throws ToolError when there is no such device.
[[nodiscard]] FoundDevice requireDevice(const std::vector<Disk>& disks, std::string_view argument);

}  // namespace quorvel
