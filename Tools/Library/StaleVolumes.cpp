#include "Tools/Library/StaleVolumes.hpp"

#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/Folder.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/VolumesFolder.hpp"

namespace quorvel {
namespace {

bool isPresent(const std::vector<Disk>& disks, const Identifier& identifier, dev_t number) {
  const auto found = findDevice(disks, identifier);
  return found && found->device->number == number;
}

bool isStaleMount(const std::vector<Disk>& disks, const MountEntry& mount) {
  const auto identifier =
      mount.source.starts_with("/dev/") ? parseIdentifierOrNode(mount.source) : std::nullopt;
  return mount.fileSystem == "fuseblk" && identifier &&
         !isPresent(disks, *identifier, mount.device);
}

bool isStaleNode(const std::vector<Disk>& disks, const Identifier& identifier) {
  const auto number = deviceNodeNumber(identifier);
  return number && !isPresent(disks, identifier, *number);
}

std::vector<MountEntry> staleMounts(const std::vector<Disk>& disks) {
  std::vector<MountEntry> mounts = readMountTable();
  std::erase_if(mounts, [&disks](const MountEntry& mount) { return !isStaleMount(disks, mount); });
  return mounts;
}

std::vector<Identifier> staleNodes(const std::vector<Disk>& disks) {
  std::vector<Identifier> nodes;
  for (const std::string& name : folderEntries("/dev")) {
    const auto identifier = parseIdentifier(name);
    if (identifier && isStaleNode(disks, *identifier)) {
      nodes.push_back(*identifier);
    }
  }
  return nodes;
}

// A mount beneath another one is left for the next time.
void detach(const MountEntry& mount) {
  if (unmountEntry(mount, MNT_DETACH) == 0) {
    removeVolumeEntries(mount.point);
  }
}

}  // namespace

StaleVolumes findStaleVolumes(const std::vector<Disk>& disks) {
  return {.mounts = staleMounts(disks), .nodes = staleNodes(disks), .links = deadVolumeLinks()};
}

void removeStaleVolumes() {
  const VolumesLock lock(VolumesLock::Wait::no);
  if (!lock) {
    return;
  }
  // Looked up again under the lock: another tool may have finished meanwhile.
  const StaleVolumes stale = findStaleVolumes(listDisks());
  std::for_each(stale.mounts.rbegin(), stale.mounts.rend(), detach);
  std::for_each(stale.nodes.begin(), stale.nodes.end(), removeDeviceNode);
  for (const std::string& link : stale.links) {
    ::unlink(link.c_str());
  }
}

}  // namespace quorvel
