#include "Tools/Library/BlockDevices.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <climits>
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

bool isSynthesized(std::string_view name) {
  return name.starts_with("dm-") || name.starts_with("md") || name.starts_with("zram") ||
         name.starts_with("ram");
}

// The link tells the bus: ../../devices/pci0000:00/0000:00:14.0/usb2/2-1/...
bool isOnUsb(int devices, const std::string& name) {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlinkat(devices, name.c_str(), target.data(), target.size());
  const auto end = static_cast<std::size_t>(std::max<ssize_t>(length, 0));
  return std::string_view(target.data(), end).find("/usb") != std::string_view::npos;
}

DiskKind kindOf(int devices, const std::string& name, bool removable) {
  if (name.starts_with("loop")) {
    return DiskKind::diskImage;
  }
  if (isSynthesized(name)) {
    return DiskKind::synthesized;
  }
  return removable || isOnUsb(devices, name) ? DiskKind::external : DiskKind::internal;
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
  device.removable = readAttribute("removable", whole ? whole.get() : folder.get()) == "1";
  device.kind = kindOf(devices, name, device.removable);
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
