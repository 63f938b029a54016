// Device contents from the device itself, where no udev has looked at it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "Tools/Library/Contents.hpp"

namespace quorvel {

/// A whole disk: what is on it, and the type of each partition by its number.
struct DiskProbe {
  Contents contents;
  std::map<std::uint32_t, std::string> partitionTypes;
};

/// Looks for a partition table, and, where there is none, for a file system. A device that cannot
/// be opened or read (no medium) has nothing on it. Throws NeedsRoot when the device may not be
/// opened and we are not root.
[[nodiscard]] DiskProbe probeDisk(const BlockDevice& disk);

/// Looks for a file system; the rest as above.
[[nodiscard]] Contents probePartition(const BlockDevice& partition);

}  // namespace quorvel
