// The machine's disks and their partitions, as the kernel lists them in sysfs.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
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
  std::string_view kind;       ///< Of the whole disk: "external, physical".
  bool hasPartitions = false;  ///< A whole disk with some.

  [[nodiscard]] bool isWhole() const { return !identifier.partition; }
};

/// By identifier: each whole disk stands before its partitions.
using BlockDevices = std::vector<BlockDevice>;

/// Every device of a size other than 0. One that disappears meanwhile is left out. Throws ToolError
/// where sysfs is not there.
[[nodiscard]] BlockDevices listDevices();

/// Whether the device with this number is, still, the one with this identifier.
[[nodiscard]] bool isPresent(const BlockDevices& devices, const Identifier& identifier,
                             dev_t number);

/// The device with the identifier that the text is, also with "/dev/" before it, and then never
/// another one; else the device whose node, or whose mount point, the path leads to. Of a file
/// system nothing is asked but the way. Null when the list has no such device; the result points
/// into `devices`.
[[nodiscard]] const BlockDevice* findDevice(const BlockDevices& devices, const std::string& name);

}  // namespace quorvel
