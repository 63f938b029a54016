#include "Tools/Library/StaleVolumes.hpp"

#include <sys/mount.h>

#include <algorithm>
#include <set>

#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/VolumesFolder.hpp"
#include "Tools/Library/VolumesLock.hpp"

namespace quorvel {
namespace {

// Latest first: a mount over another one goes before it.
std::vector<MountEntry> staleMounts(const BlockDevices& devices) {
  std::vector<MountEntry> mounts = readMountTable();
  std::erase_if(mounts, [&devices](const MountEntry& mount) {
    const auto identifier =
        mount.source.starts_with("/dev/") ? parseIdentifierOrNode(mount.source) : std::nullopt;
    return mount.fileSystem != "fuseblk" || !identifier ||
           isPresent(devices, *identifier, mount.device);
  });
  std::reverse(mounts.begin(), mounts.end());
  return mounts;
}

bool isStaleNode(const BlockDevices& devices, const Identifier& identifier) {
  const auto number = deviceNodeNumber(identifier);
  return number && !isPresent(devices, identifier, *number);
}

// Of which a mount, a node or a link is left.
std::set<Identifier> staleIdentifiers(const BlockDevices& devices) {
  std::set<Identifier> found;
  for (const MountEntry& mount : staleMounts(devices)) {
    found.insert(*parseIdentifierOrNode(mount.source));
  }
  for (const std::string& name : folderEntries("/dev")) {
    const auto identifier = parseIdentifier(name);
    if (identifier && isStaleNode(devices, *identifier)) {
      found.insert(*identifier);
    }
  }
  return found;
}

// Looked for again now that nobody else works on it: the disk may have come since. A mount beneath
// another one is left for the next time.
void detach(VolumesLock& lock, const Identifier& identifier) {
  const BlockDevices devices = listDevices();
  for (const MountEntry& mount : staleMounts(devices)) {
    if (mount.source == nodePath(identifier) && unmountEntry(mount, MNT_DETACH) == 0) {
      removeVolumeEntries(lock, mount.point);
    }
  }
  if (isStaleNode(devices, identifier)) {
    removeDeviceNode(identifier);
  }
}

}  // namespace

bool areThereStaleVolumes(const BlockDevices& devices) {
  return !staleIdentifiers(devices).empty() || !staleVolumeLinks().empty();
}

void removeStaleVolumes() {
  VolumesLock lock;
  for (const Identifier& identifier : staleIdentifiers(listDevices())) {
    if (lock.tryTake(identifier)) {
      detach(lock, identifier);
    }
  }
  removeStaleVolumeLinks(lock);
}

}  // namespace quorvel
