// Device contents from the udev database.
#pragma once

#include <optional>

#include "Tools/Library/Contents.hpp"

namespace quorvel {

/// Whether udev runs on this machine and keeps a database.
[[nodiscard]] bool isUdevThere();

/// What udev found on the device when it appeared; none when udev does not run or has not (yet)
/// looked at it. Needs no privilege and does not touch the device.
[[nodiscard]] std::optional<Contents> readUdevRecord(const BlockDevice& device);

}  // namespace quorvel
