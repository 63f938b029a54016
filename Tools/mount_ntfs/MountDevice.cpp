#include "Tools/mount_ntfs/MountDevice.hpp"

#include "Tools/Library/Contents.hpp"
#include "Tools/Library/DiskImage.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

void requireNotMounted(const BlockDevice& device, const std::string& name) {
  const auto mounts = mountsOf(device.number, readMountTable());
  if (!mounts.empty()) {
    throw ToolError("mount_ntfs: " + printable(name) + " is mounted on " +
                    printable(mounts.front().point) +
                    " already. Unmount it first: diskutil umount " + toText(device.identifier));
  }
}

// Of an NTFS volume whose beginnings are destroyed nothing is recognized: the driver says what is
// wrong with it. Anything else that is recognized (a RAID member, another file system) is refused.
void requireNtfs(const BlockDevice& device, const std::string& name) {
  if (requireContents(device).fileSystem != "ntfs" && !isUnrecognized(device)) {
    throw ToolError("mount_ntfs: " + printable(name) +
                    " does not hold an NTFS file system. \"diskutil list\" shows which partitions "
                    "do; if this one should, run chkdsk /f on it in Windows.");
  }
}

}  // namespace

void requireMountable(const BlockDevice& device, const std::string& name) {
  requireNotMounted(device, name);
  requireNtfs(device, name);
  requireCallersImage(device);
}

}  // namespace quorvel
