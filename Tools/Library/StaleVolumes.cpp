#include "Tools/Library/StaleVolumes.hpp"

#include <sys/mount.h>

#include <algorithm>
#include <utility>

#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/Folder.hpp"
#include "Tools/Library/VolumesFolder.hpp"
#include "Tools/Library/VolumesLock.hpp"

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

// Its number may mean another mount by now.
bool isThereStill(const MountEntry& mount) {
  const std::vector<MountEntry> mounts = readMountTable();
  return std::any_of(mounts.begin(), mounts.end(), [&mount](const MountEntry& other) {
    return other.id == mount.id && other.source == mount.source;
  });
}

// A mount beneath another one is left for the next time.
void detach(VolumesLock& lock, const MountEntry& mount) {
  const auto identifier = parseIdentifierOrNode(mount.source);
  if (identifier && lock.tryTake(*identifier) && isThereStill(mount) &&
      unmountEntry(mount, MNT_DETACH) == 0) {
    removeVolumeEntries(lock, mount.point);
  }
}

}  // namespace

StaleVolumes findStaleVolumes(const BlockDevices& devices) {
  std::vector<MountEntry> mounts = readMountTable();
  std::vector<std::string> links = staleVolumeLinks(mounts);
  std::erase_if(mounts,
                [&devices](const MountEntry& mount) { return !isStaleMount(devices, mount); });
  return {.mounts = std::move(mounts), .nodes = staleNodes(devices), .links = std::move(links)};
}

void removeStaleVolumes(const StaleVolumes& stale) {
  VolumesLock lock;
  std::for_each(stale.mounts.rbegin(), stale.mounts.rend(),
                [&lock](const MountEntry& mount) { detach(lock, mount); });
  for (const Identifier& identifier : stale.nodes) {
    if (lock.tryTake(identifier)) {
      removeDeviceNode(identifier);
    }
  }
  removeStaleVolumeLinks(lock);
}

}  // namespace quorvel
