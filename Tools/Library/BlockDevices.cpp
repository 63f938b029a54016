#include "Tools/Library/BlockDevices.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/SystemFiles.hpp"
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

// Without what only the whole list tells.
std::optional<BlockDevice> readDevice(int devices, const std::string& name) {
  const UniqueFd folder = openFolder(devices, name.c_str());
  const std::uint64_t size = numberIn(folder.get(), "size") * kSectorSize;
  if (size == 0) {
    return std::nullopt;  // Gone meanwhile, a reader without a card, or a loop device not in use.
  }
  const auto partition = parseNumber<std::uint32_t>(readAttribute("partition", folder.get()));
  const UniqueFd whole = partition ? openFolder(folder.get(), "..") : UniqueFd();
  const int disk = whole ? whole.get() : folder.get();
  BlockDevice device{.identifier = {.disk = numberIn(disk, "diskseq"), .partition = partition},
                     .number = parseDeviceNumber(readAttribute("dev", folder.get())).value_or(0),
                     .kernelName = name,
                     .size = size,
                     .readOnly = readAttribute("ro", folder.get()) == "1",
                     .kind = kindOf(name, readAttribute("removable", disk) == "1")};
  std::ranges::replace(device.kernelName, '!', '/');  // sysfs writes cciss/c0d0 as cciss!c0d0.
  // The paths of an NVMe disk with several have no number: nobody can open them.
  const bool isUsable = device.identifier.disk != 0 && device.number != 0;
  return isUsable ? std::optional(std::move(device)) : std::nullopt;
}

// Of the node, or of what is mounted on the folder, that the path leads to; 0 where that is
// neither.
dev_t numberAt(const std::string& path) {
  const struct statx place = placeOf(path.c_str());
  if (S_ISBLK(place.stx_mode)) {
    return makedev(place.stx_rdev_major, place.stx_rdev_minor);
  }
  const bool isMountPoint = (place.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  return isMountPoint ? makedev(place.stx_dev_major, place.stx_dev_minor) : 0;
}

template <typename Value>
const BlockDevice* findBy(Value BlockDevice::*member, const BlockDevices& devices,
                          const Value& value) {
  const auto found = std::ranges::find(devices, value, member);
  return found == devices.end() ? nullptr : &*found;
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
  std::ranges::sort(devices, {}, &BlockDevice::identifier);
  for (std::size_t i = 1; i < devices.size(); ++i) {
    devices[i - 1].hasPartitions = devices[i - 1].isWhole() && !devices[i].isWhole();
  }
  return devices;
}

bool isPresent(const BlockDevices& devices, const Identifier& identifier, dev_t number) {
  const BlockDevice* const found = findBy(&BlockDevice::identifier, devices, identifier);
  return found != nullptr && found->number == number;
}

const BlockDevice* findDevice(const BlockDevices& devices, const std::string& name) {
  if (const auto identifier = parseIdentifierOrNode(name)) {
    return findBy(&BlockDevice::identifier, devices, *identifier);
  }
  const bool isPath = name.find('/') != std::string::npos;
  return isPath ? findBy(&BlockDevice::number, devices, numberAt(name)) : nullptr;
}

}  // namespace quorvel
