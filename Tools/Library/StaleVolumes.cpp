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

bool isPresent(const BlockDevices& devices, const Identifier& identifier, dev_t number) {
  const BlockDevice* const found = findDevice(devices, identifier);
  return found != nullptr && found->number == number;
}

bool isStaleMount(const BlockDevices& devices, const MountEntry& mount) {
  const auto identifier =
      mount.source.starts_with("/dev/") ? parseIdentifierOrNode(mount.source) : std::nullopt;
  return mount.fileSystem == "fuseblk" && identifier &&
         !isPresent(devices, *identifier, mount.device);
}

bool isStaleNode(const BlockDevices& devices, const Identifier& identifier) {
  const auto number = deviceNodeNumber(identifier);
  return number && !isPresent(devices, identifier, *number);
}

std::vector<MountEntry> staleMounts(const BlockDevices& devices) {
  std::vector<MountEntry> mounts = readMountTable();
  std::erase_if(mounts,
                [&devices](const MountEntry& mount) { return !isStaleMount(devices, mount); });
  return mounts;
}

std::vector<Identifier> staleNodes(const BlockDevices& devices) {
  std::vector<Identifier> nodes;
  for (const std::string& name : folderEntries("/dev")) {
    const auto identifier = parseIdentifier(name);
    if (identifier && isStaleNode(devices, *identifier)) {
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

StaleVolumes findStaleVolumes(const BlockDevices& devices) {
  return {.mounts = staleMounts(devices), .nodes = staleNodes(devices), .links = deadVolumeLinks()};
}

void removeStaleVolumes() {
  const VolumesLock lock(VolumesLock::Wait::no);
  if (!lock) {
    return;
  }
  // Looked up again under the lock: another tool may have finished meanwhile.
  const StaleVolumes stale = findStaleVolumes(listDevices());
  std::for_each(stale.mounts.rbegin(), stale.mounts.rend(), detach);
  std::for_each(stale.nodes.begin(), stale.nodes.end(), removeDeviceNode);
  for (const std::string& link : stale.links) {
    ::unlink(link.c_str());
  }
}

}  // namespace quorvel
