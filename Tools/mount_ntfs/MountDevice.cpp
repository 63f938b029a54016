#include "Tools/mount_ntfs/MountDevice.hpp"

#include <sys/stat.h>

#include <optional>

#include "Tools/Library/Contents.hpp"
#include "Tools/Library/DiskImage.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

std::optional<Identifier> identifyNode(const std::string& path) {
  struct stat status {};
  const bool isNode = ::stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
  const BlockDevices devices = isNode ? listDevices() : BlockDevices();
  const BlockDevice* const found = findDevice(devices, status.st_rdev);
  return found == nullptr ? std::nullopt : std::optional(found->identifier);
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
void requireNtfs(const BlockDevice& device, const std::string& path) {
  if (requireContents(device).fileSystem != "ntfs" && !isUnrecognized(device)) {
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
  const BlockDevices devices = listDevices();
  const BlockDevice* const device = findDevice(devices, identifier);
  if (device == nullptr) {
    refuseUnknown(path);
  }
  requireNotMounted(*device, path);
  requireNtfs(*device, path);
  requireCallersImage(*device);
  return *device;
}

}  // namespace quorvel
