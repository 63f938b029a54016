#include "Tools/Library/BlockDevices.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/Folder.hpp"
#include "Tools/Library/SmallFile.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr std::uint64_t kSectorSize = 512;  // The unit of sysfs, whatever the disk's own.

// Disks and partitions side by side: links to folders, of which a partition's lies in its disk's.
// libudev takes 5 times the system calls for the same list.
constexpr const char* kDevices = "/sys/class/block";

UniqueFd openFolder(int parent, const char* name) {
  return UniqueFd(::openat(parent, name, O_PATH | O_DIRECTORY | O_CLOEXEC));
}

std::uint64_t numberIn(int folder, const char* attribute) {
  return parseNumber<std::uint64_t>(readAttribute(attribute, folder)).value_or(0);
}

// The link tells the bus: ../../devices/pci0000:00/0000:00:14.0/usb2/2-1/... A removable medium
// leaves the drive: a card, a disc.
std::string_view kindOf(const std::string& name, bool isRemovable) {
  const std::string path = linkTarget(std::string(kDevices) + "/" + name);
  if (path.find("/virtual/block/") != std::string::npos) {
    return name.starts_with("loop") ? "disk image" : "synthesized";
  }
  const bool isExternal = isRemovable || path.find("/usb") != std::string::npos;
  return isExternal ? "external, physical" : "internal, physical";
}

// sysfs writes the "/" of a kernel name as "!" (cciss!c0d0).
std::string kernelName(std::string name) {
  std::replace(name.begin(), name.end(), '!', '/');
  return name;
}

Identifier identifierOf(int folder, const UniqueFd& whole) {
  Identifier identifier{.disk = numberIn(whole ? whole.get() : folder, "diskseq"), .partition = {}};
  if (whole) {
    identifier.partition = static_cast<std::uint32_t>(numberIn(folder, "partition"));
  }
  return identifier;
}

// Without what only the whole list tells.
std::optional<BlockDevice> readDevice(int devices, const std::string& name) {
  const UniqueFd folder = openFolder(devices, name.c_str());
  const std::uint64_t size = folder ? numberIn(folder.get(), "size") * kSectorSize : 0;
  if (size == 0) {
    return std::nullopt;  // Gone meanwhile, a reader without a card, or a loop device not in use.
  }
  const bool isPartition = ::faccessat(folder.get(), "partition", F_OK, 0) == 0;
  const UniqueFd whole = isPartition ? openFolder(folder.get(), "..") : UniqueFd();
  BlockDevice device;
  device.identifier = identifierOf(folder.get(), whole);
  device.number = parseDeviceNumber(readAttribute("dev", folder.get())).value_or(0);
  device.kernelName = kernelName(name);
  device.size = size;
  device.readOnly = readAttribute("ro", folder.get()) == "1";
  const int disk = whole ? whole.get() : folder.get();
  device.kind = kindOf(name, readAttribute("removable", disk) == "1");
  // The paths of an NVMe disk with several have no number: nobody can open them.
  const bool isUsable = device.identifier.disk != 0 && device.number != 0;
  return isUsable ? std::optional(std::move(device)) : std::nullopt;
}

}  // namespace

BlockDevices listDevices() {
  const UniqueFd folder = openFolder(AT_FDCWD, kDevices);
  if (!folder) {
    throw ToolError(errorText(std::string("The list of disks in ") + kDevices + " cannot be read") +
                    ". Mount sysfs at /sys and try again.");
  }
  BlockDevices devices;
  for (const std::string& name : folderEntries(kDevices)) {
    if (auto device = readDevice(folder.get(), name)) {
      devices.push_back(std::move(*device));
    }
  }
  std::sort(devices.begin(), devices.end(), [](const BlockDevice& left, const BlockDevice& right) {
    return left.identifier < right.identifier;
  });
  for (std::size_t i = 1; i < devices.size(); ++i) {
    devices[i - 1].hasPartitions = devices[i - 1].isWhole() && !devices[i].isWhole();
  }
  return devices;
}

const BlockDevice* findDevice(const BlockDevices& devices, const Identifier& identifier) {
  const auto found = std::find_if(
      devices.begin(), devices.end(),
      [&identifier](const BlockDevice& device) { return device.identifier == identifier; });
  return found == devices.end() ? nullptr : &*found;
}

const BlockDevice* findDevice(const BlockDevices& devices, dev_t number) {
  const auto found =
      std::find_if(devices.begin(), devices.end(),
                   [number](const BlockDevice& device) { return device.number == number; });
  return found == devices.end() ? nullptr : &*found;
}

const BlockDevice* findDevice(const BlockDevices& devices, const std::string& name) {
  if (const auto identifier = parseIdentifierOrNode(name)) {
    return findDevice(devices, *identifier);
  }
  // Nothing is asked for, so that a file system that is dead is not: these are told all the same.
  struct statx status {};
  if (name.find('/') == std::string::npos ||
      ::statx(AT_FDCWD, name.c_str(), AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, 0, &status) != 0) {
    return nullptr;
  }
  if (S_ISBLK(status.stx_mode)) {
    return findDevice(devices, makedev(status.stx_rdev_major, status.stx_rdev_minor));
  }
  const bool isMountPoint = (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  return isMountPoint ? findDevice(devices, makedev(status.stx_dev_major, status.stx_dev_minor))
                      : nullptr;
}

}  // namespace quorvel
