#include "Tools/mount_ntfs/MountDevice.hpp"

#include <sys/stat.h>

#include <optional>
#include <vector>

#include "Tools/Library/Contents.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

std::optional<FoundDevice> findByNumber(const std::vector<Disk>& disks, dev_t number) {
  for (const Disk& disk : disks) {
    if (disk.whole.number == number) {
      return FoundDevice{.disk = &disk, .device = &disk.whole};
    }
    for (const BlockDevice& partition : disk.partitions) {
      if (partition.number == number) {
        return FoundDevice{.disk = &disk, .device = &partition};
      }
    }
  }
  return std::nullopt;
}

std::optional<Identifier> identifyNode(const std::string& path) {
  struct stat status {};
  const bool isNode = ::stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
  const std::vector<Disk> disks = isNode ? listDisks() : std::vector<Disk>();
  const auto found = findByNumber(disks, status.st_rdev);
  return found ? std::optional(found->device->identifier) : std::nullopt;
}

[[noreturn]] void refuseUnknown(const std::string& path) {
  throw ToolError("mount_ntfs: there is no device " + printable(path) +
                  ". \"diskutil list\" shows the disks that are attached.");
}

void requireNotMounted(const BlockDevice& device, const std::string& path) {
  const auto mounts = mountsOf(device.number, readMountTable());
  if (!mounts.empty()) {
    throw ToolError("mount_ntfs: " + printable(path) + " is mounted on " +
                    printable(mounts.front().point) +
                    " already. Unmount it first: diskutil umount " + toText(device.identifier));
  }
}

// Of an NTFS volume whose beginnings are destroyed nothing is recognized: the driver says what is
// wrong with it. Anything else that is recognized (a RAID member, another file system) is refused.
void requireNtfs(const FoundDevice& found, const std::string& path) {
  const Contents contents = readContents(*found.disk, *found.device);
  if (contents.fileSystem != "ntfs" && !contents.isUnrecognized) {
    throw ToolError("mount_ntfs: " + printable(path) +
                    " does not hold an NTFS file system. \"diskutil list\" shows which partitions "
                    "do; if this one should, run chkdsk /f on it in Windows.");
  }
}

}  // namespace

Identifier identifyDevice(const std::string& path) {
  const auto identifier =
      path.starts_with("/dev/") ? parseIdentifierOrNode(path) : std::optional<Identifier>();
  if (identifier) {
    return *identifier;
  }
  const auto found = identifyNode(path);
  if (!found) {
    refuseUnknown(path);
  }
  return *found;
}

BlockDevice requireMountable(const Identifier& identifier, const std::string& path) {
  const std::vector<Disk> disks = listDisks();
  const auto found = findDevice(disks, identifier);
  if (!found) {
    refuseUnknown(path);
  }
  requireNotMounted(*found->device, path);
  requireNtfs(*found, path);
  return *found->device;
}

}  // namespace quorvel
