// What is on a block device: its partition table, or its file system and label.
#pragma once

#include <map>
#include <string>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// Names are libblkid's, which the udev database has from it too.
struct Contents {
  std::string tableType;      ///< "gpt", "dos"; empty when there is no partition table.
  std::string partitionType;  ///< Its entry in the disk's table: "0x7", a GUID, a word, printable;
                              ///< or empty.
  std::string fileSystem;     ///< "ntfs"; empty when there is none.
  std::string label;          ///< As whoever formatted the volume wrote it.

  bool isReadable = false;  ///< The device, or what udev noted of it, could be read.
  /// Nothing at all was recognized: the device is empty, or what is on it is badly damaged.
  bool isUnrecognized = false;

  [[nodiscard]] bool isVolume() const { return !fileSystem.empty(); }
};

/// The contents of a disk and its partitions; an identifier that could not be read is absent.
using ContentsByIdentifier = std::map<Identifier, Contents>;

/// Reads what is on the disk and all of its partitions: from the udev database where udev knows the
/// device, else from the device itself, which only root may (throws NeedsRoot).
void readContents(const Disk& disk, ContentsByIdentifier& contents);

/// The same for one device of the disk and its entry in the disk's table.
[[nodiscard]] Contents readContents(const Disk& disk, const BlockDevice& device);

/// The name of the volume as all tools use it (see volumeName).
[[nodiscard]] std::string nameOf(const Contents& contents);

}  // namespace quorvel
