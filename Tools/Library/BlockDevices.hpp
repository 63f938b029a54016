// The machine's disks and their partitions, as the kernel lists them in sysfs.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Tools/Library/Identifier.hpp"

namespace quorvel {

/// A whole disk or one partition.
struct BlockDevice {
  Identifier identifier;
  dev_t number = 0;
  std::string kernelName;  ///< "sdb1"
  std::uint64_t size = 0;  ///< In bytes.
  bool readOnly = false;
};

enum class DiskKind { internal, external, diskImage, synthesized };

struct Disk {
  BlockDevice whole;
  DiskKind kind = DiskKind::internal;
  bool removable = false;               ///< The medium leaves the drive (a card, a disc).
  std::vector<BlockDevice> partitions;  ///< By number.
};

/// Every disk of a size other than 0, by identifier. A disk that disappears meanwhile is left out.
/// Throws ToolError where sysfs is not there.
[[nodiscard]] std::vector<Disk> listDisks();

/// Where sysfs describes the disk: "/sys/block/sdb".
[[nodiscard]] std::string sysfsFolder(const Disk& disk);

/// The size of the disk's blocks in bytes, as the disk itself has it.
[[nodiscard]] std::uint64_t blockSize(const Disk& disk);

/// One device out of a list, and the disk that it is (a part of).
struct FoundDevice {
  const Disk* disk = nullptr;
  const BlockDevice* device = nullptr;
};

/// None when the list has no such identifier. The result points into `disks`.
[[nodiscard]] std::optional<FoundDevice> findDevice(const std::vector<Disk>& disks,
                                                    const Identifier& identifier);

}  // namespace quorvel
