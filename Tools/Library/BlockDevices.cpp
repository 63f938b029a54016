#include "Tools/Library/BlockDevices.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <string_view>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/Folder.hpp"
#include "Tools/Library/SmallFile.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr std::uint64_t kSectorSize = 512;  // The unit of sysfs, whatever the disk's own.
constexpr const char* kBlockFolder = "/sys/block";

template <typename Number>
Number numberIn(int folder, const char* attribute) {
  return parseNumber<Number>(readAttribute(attribute, folder)).value_or(0);
}

dev_t deviceNumber(int folder) {
  const std::string text = readAttribute("dev", folder);
  const std::size_t colon = std::min(text.find(':'), text.size());
  const auto major = parseNumber<unsigned>(std::string_view(text).substr(0, colon));
  const auto minor =
      parseNumber<unsigned>(std::string_view(text).substr(std::min(colon + 1, text.size())));
  return major && minor ? makedev(*major, *minor) : 0;
}

UniqueFd openFolder(int parent, const std::string& name) {
  return UniqueFd(::openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// sysfs writes the "/" of a kernel name as "!" (cciss!c0d0).
std::string kernelName(std::string name) {
  std::replace(name.begin(), name.end(), '!', '/');
  return name;
}

std::uint64_t sizeOf(int folder) { return numberIn<std::uint64_t>(folder, "size") * kSectorSize; }

// Without its identifier.
BlockDevice readDevice(int folder, const std::string& name) {
  BlockDevice device;
  device.number = deviceNumber(folder);
  device.kernelName = kernelName(name);
  device.size = sizeOf(folder);
  device.readOnly = readAttribute("ro", folder) == "1";
  return device;
}

bool isSynthesized(std::string_view name) {
  return name.starts_with("dm-") || name.starts_with("md") || name.starts_with("zram") ||
         name.starts_with("ram");
}

// The link in /sys/block tells the bus: ../devices/pci0000:00/0000:00:14.0/usb2/2-1/...
bool isOnUsb(int blockFolder, const std::string& name) {
  std::string target(4096, '\0');
  const ssize_t length = ::readlinkat(blockFolder, name.c_str(), target.data(), target.size());
  target.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  return target.find("/usb") != std::string::npos;
}

DiskKind kindOf(int blockFolder, const std::string& name, bool removable) {
  if (name.starts_with("loop")) {
    return DiskKind::diskImage;
  }
  if (isSynthesized(name)) {
    return DiskKind::synthesized;
  }
  return removable || isOnUsb(blockFolder, name) ? DiskKind::external : DiskKind::internal;
}

// The folders of a disk's partitions begin with the disk's own name: sdb1, nvme0n1p1.
std::vector<BlockDevice> readPartitions(int folder, const std::string& name, std::uint64_t disk) {
  std::vector<BlockDevice> partitions;
  for (const std::string& entry : folderEntries(".", folder)) {
    if (!entry.starts_with(name)) {
      continue;
    }
    const UniqueFd partition = openFolder(folder, entry);
    const auto number = numberIn<std::uint32_t>(partition.get(), "partition");
    if (partition && number != 0) {
      BlockDevice device = readDevice(partition.get(), entry);
      device.identifier = {.disk = disk, .partition = number};
      partitions.push_back(std::move(device));
    }
  }
  std::sort(partitions.begin(), partitions.end(),
            [](const auto& left, const auto& right) { return left.identifier < right.identifier; });
  return partitions;
}

std::optional<Disk> readDisk(int blockFolder, const std::string& name) {
  const UniqueFd folder = openFolder(blockFolder, name);
  if (!folder || sizeOf(folder.get()) == 0) {
    return std::nullopt;  // Gone meanwhile, a reader without a card, or a loop device not in use.
  }
  Disk disk;
  disk.whole = readDevice(folder.get(), name);
  disk.whole.identifier.disk = numberIn<std::uint64_t>(folder.get(), "diskseq");
  disk.removable = readAttribute("removable", folder.get()) == "1";
  disk.kind = kindOf(blockFolder, name, disk.removable);
  disk.partitions = readPartitions(folder.get(), name, disk.whole.identifier.disk);
  return disk.whole.identifier.disk == 0 ? std::nullopt : std::optional(std::move(disk));
}

}  // namespace

std::vector<Disk> listDisks() {
  const UniqueFd folder = openFolder(AT_FDCWD, kBlockFolder);
  if (!folder) {
    throw ToolError(errorText("The list of disks in /sys/block cannot be read") +
                    ". Mount sysfs at /sys and try again.");
  }
  std::vector<Disk> disks;
  for (const std::string& name : folderEntries(kBlockFolder)) {
    if (auto disk = readDisk(folder.get(), name)) {
      disks.push_back(std::move(*disk));
    }
  }
  std::sort(disks.begin(), disks.end(), [](const Disk& left, const Disk& right) {
    return left.whole.identifier < right.whole.identifier;
  });
  return disks;
}

std::string sysfsFolder(const Disk& disk) {
  std::string name = disk.whole.kernelName;
  std::replace(name.begin(), name.end(), '/', '!');
  return kBlockFolder + ("/" + name);
}

std::uint64_t blockSize(const Disk& disk) {
  const std::string path = sysfsFolder(disk) + "/queue/logical_block_size";
  return parseNumber<std::uint64_t>(readAttribute(path.c_str())).value_or(kSectorSize);
}

std::optional<FoundDevice> findDevice(const std::vector<Disk>& disks,
                                      const Identifier& identifier) {
  for (const Disk& disk : disks) {
    if (disk.whole.identifier == identifier) {
      return FoundDevice{.disk = &disk, .device = &disk.whole};
    }
    for (const BlockDevice& partition : disk.partitions) {
      if (partition.identifier == identifier) {
        return FoundDevice{.disk = &disk, .device = &partition};
      }
    }
  }
  return std::nullopt;
}

}  // namespace quorvel
