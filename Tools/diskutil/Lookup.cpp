#include "Tools/diskutil/Lookup.hpp"

#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/diskutil/Commands.hpp"

namespace quorvel {
namespace {

struct Place {
  std::string path;            ///< As the mount table writes it, when it could be walked to.
  std::optional<int> mountId;  ///< What the walk ended in; none when it did not get there.
};

// O_PATH: the kernel alone is asked, not the file system, which may be dead. A path that we may
// not walk to is taken by its text.
Place placeOf(std::string path) {
  path.erase(std::max<std::size_t>(path.find_last_not_of('/') + 1, 1));
  const UniqueFd file(::open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!file) {
    return {.path = std::move(path), .mountId = {}};
  }
  std::error_code error;
  const auto target =
      std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file.get()), error);
  return {.path = target.string(), .mountId = mountIdOf(file.get())};
}

std::optional<dev_t> deviceMountedOn(const Place& place) {
  const std::vector<MountEntry> mounts = readMountTable();
  const auto found =
      std::find_if(mounts.rbegin(), mounts.rend(), [&place](const MountEntry& mount) {
        return mount.point == place.path && mount.id == place.mountId.value_or(mount.id);
      });
  return found == mounts.rend() ? std::nullopt : std::optional(found->device);
}

std::vector<Identifier> findByMountPoint(const std::vector<Disk>& disks, std::string_view path) {
  const auto number = deviceMountedOn(placeOf(std::string(path)));
  for (const Disk& disk : disks) {
    if (disk.whole.number == number) {
      return {disk.whole.identifier};
    }
    for (const BlockDevice& partition : disk.partitions) {
      if (partition.number == number) {
        return {partition.identifier};
      }
    }
  }
  return {};
}

std::vector<Identifier> findByLabel(const std::vector<Disk>& disks, std::string_view name) {
  ContentsByIdentifier contents;
  for (const Disk& disk : disks) {
    readContents(disk, contents);
  }
  std::vector<Identifier> found;
  for (const auto& [identifier, volume] : contents) {
    if (volume.isVolume() && nameOf(volume) == name) {
      found.push_back(identifier);
    }
  }
  return found;
}

// What may hold a volume: the partitions, or the disk itself when it has none.
std::vector<BlockDevice> candidatesOf(const Disk& disk) {
  return disk.partitions.empty() ? std::vector{disk.whole} : disk.partitions;
}

// Root is asked about identifiers, one by one: the name, which anyone may have written, is compared
// here.
std::vector<Identifier> findByAskingRoot(const std::vector<Disk>& disks, std::string_view name) {
  std::vector<Identifier> found;
  for (const Disk& disk : disks) {
    for (const BlockDevice& device : candidatesOf(disk)) {
      const auto info = askAsRoot({"info", toText(device.identifier)});
      if (info && volumeNameIn(*info) == name) {
        found.push_back(device.identifier);
      }
    }
  }
  return found;
}

std::vector<Identifier> findByName(const std::vector<Disk>& disks, std::string_view name) {
  try {
    return findByLabel(disks, name);
  } catch (const NeedsRoot&) {
    return findByAskingRoot(disks, name);
  }
}

void requireOne(const std::vector<Identifier>& found, std::string_view name) {
  if (found.size() < 2) {
    return;
  }
  std::string identifiers;
  for (const Identifier& identifier : found) {
    identifiers += (identifiers.empty() ? "" : ", ") + toText(identifier);
  }
  throw ToolError("Several volumes have the name " + printable(name) + ": " + identifiers +
                  ". Use the identifier.");
}

}  // namespace

std::string resolveArgument(std::string_view argument) {
  if (argument.empty() || parseIdentifierOrNode(argument)) {
    return std::string(argument);
  }
  const std::vector<Disk> disks = listDisks();
  const auto found =
      argument.front() == '/' ? findByMountPoint(disks, argument) : findByName(disks, argument);
  requireOne(found, argument);
  return found.empty() ? std::string(argument) : toText(found.front());
}

std::optional<FoundDevice> findByArgument(const std::vector<Disk>& disks,
                                          std::string_view argument) {
  const auto identifier = parseIdentifierOrNode(argument);
  return identifier ? findDevice(disks, *identifier) : std::nullopt;
}

FoundDevice requireDevice(const std::vector<Disk>& disks, std::string_view argument) {
  const auto found = findByArgument(disks, argument);
  if (!found) {
    throw ToolError("Unable to find disk for " + printable(argument));
  }
  return *found;
}

}  // namespace quorvel
