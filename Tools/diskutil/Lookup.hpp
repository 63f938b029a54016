// From what a person typed to a device.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// The device that an argument names: an identifier ("disk3s1") or its node ("/dev/disk3s1"). None
/// when there is no such device. The result points into `disks`.
[[nodiscard]] std::optional<FoundDevice> findByArgument(const std::vector<Disk>& disks,
                                                        std::string_view argument);

/// The same for mounting and unmounting: throws ToolError when there is no such device.
[[nodiscard]] FoundDevice requireDevice(const std::vector<Disk>& disks, std::string_view argument);

}  // namespace quorvel
