#include "Tools/diskutil/Lookup.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

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

const BlockDevice* findByMountPoint(const BlockDevices& devices, std::string_view path) {
  const Place place = placeOf(std::string(path));
  const std::vector<MountEntry> mounts = readMountTable();
  const auto found =
      std::find_if(mounts.rbegin(), mounts.rend(), [&place](const MountEntry& mount) {
        return mount.point == place.path && mount.id == place.mountId.value_or(mount.id);
      });
  return found == mounts.rend() ? nullptr : findDevice(devices, found->device);
}

// Nothing but a node is looked at: on a dead volume that could hang.
const BlockDevice* findByKernelNode(const BlockDevices& devices, std::string_view path) {
  struct stat status {};
  const bool isNode = path.starts_with("/dev/") &&
                      ::stat(std::string(path).c_str(), &status) == 0 && S_ISBLK(status.st_mode);
  return isNode ? findDevice(devices, status.st_rdev) : nullptr;
}

// Root is asked about an identifier: the name, which anyone may have written, is compared here.
bool hasName(const BlockDevice& device, std::string_view name) {
  if (isRoot() || isUdevRunning()) {
    const auto contents = readContents(device);
    return contents && contents->isVolume() && nameOf(*contents) == name;
  }
  const auto info =
      device.hasPartitions ? std::nullopt : askAsRoot({"info", toText(device.identifier)});
  return info && describesVolume(*info, name);
}

const BlockDevice* findByName(const BlockDevices& devices, std::string_view name) {
  const BlockDevice* found = nullptr;
  std::string identifiers;
  for (const BlockDevice& device : devices) {
    if (hasName(device, name)) {
      identifiers += (found == nullptr ? "" : ", ") + toText(device.identifier);
      found = found == nullptr ? &device : found;
    }
  }
  if (found != nullptr && identifiers != toText(found->identifier)) {
    throw ToolError("Several volumes have the name " + printable(name) + ": " + identifiers +
                    ". Use the identifier.");
  }
  return found;
}

}  // namespace

const BlockDevice* findByArgument(const BlockDevices& devices, std::string_view argument) {
  if (const auto identifier = parseIdentifierOrNode(argument)) {
    return findDevice(devices, *identifier);
  }
  if (argument.empty()) {
    return nullptr;
  }
  if (const BlockDevice* const device = findByKernelNode(devices, argument)) {
    return device;
  }
  return argument.front() == '/' ? findByMountPoint(devices, argument)
                                 : findByName(devices, argument);
}

void requireStillThere(const BlockDevice& device) {
  const BlockDevices devices = listDevices();
  const BlockDevice* const found = findDevice(devices, device.identifier);
  if (found == nullptr || found->number != device.number) {
    throw ToolError("Unable to find disk for " + toText(device.identifier));
  }
}

}  // namespace quorvel
