// diskutil info: what is known about one disk or partition, a row each.

#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/PartitionType.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/diskutil/Commands.hpp"
#include "Tools/diskutil/Lookup.hpp"
#include "Tools/diskutil/Sizes.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kValueColumn = 30;
constexpr std::string_view kNameField = "Volume Name";
constexpr std::string_view kPersonalityField = "File System Personality";
constexpr std::string_view kNoFileSystem = "Not applicable (no file system)";

struct Subject {
  const Disk& disk;
  const BlockDevice& device;
  Contents contents;
  std::vector<MountEntry> mounts;
};

std::string row(std::string_view field, std::string_view value) {
  std::string text = "   " + std::string(field) + ":";
  text.append(text.size() < kValueColumn ? kValueColumn - text.size() : 1, ' ');
  return text + std::string(value) + "\n";
}

std::string_view yesOrNo(bool value) { return value ? "Yes" : "No"; }

// Programs find the three rows they want by these texts, and what others wrote may hold one of
// them: in the path of a mount point or a partition's type it must not look like a row of its own.
std::string withoutFieldNames(std::string value) {
  constexpr std::array<std::string_view, 3> kFields{
      "Volume Name:", "Mounted:", "File System Personality:"};
  for (const std::string_view field : kFields) {
    for (auto at = value.find(field); at != std::string::npos; at = value.find(field)) {
      value.at(at + field.size() - 1) = '?';
    }
  }
  return value;
}

std::string identityRows(const Subject& subject) {
  const Identifier& identifier = subject.device.identifier;
  return row("Device Identifier", toText(identifier)) + row("Device Node", nodePath(identifier)) +
         row("Whole", yesOrNo(!identifier.partition)) +
         row("Part of Whole", toText(subject.disk.whole.identifier)) + "\n";
}

std::string volumeRows(const Subject& subject) {
  if (!subject.contents.isVolume()) {
    return row(kNameField, kNoFileSystem) + row("Mounted", kNoFileSystem) +
           row("File System", "None") + "\n";
  }
  std::string text =
      row(kNameField, nameOf(subject.contents)) + row("Mounted", yesOrNo(!subject.mounts.empty()));
  if (!subject.mounts.empty()) {
    text += row("Mount Point", withoutFieldNames(printable(subject.mounts.front().point)));
  }
  return text + "\n";
}

std::string contentType(const Subject& subject) {
  const Contents& contents = subject.contents;
  if (subject.device.identifier.partition) {
    return partitionTypeName(contents.tableType, contents.partitionType);
  }
  return contents.isVolume() ? "None" : schemeName(contents.tableType);
}

std::string typeRows(const Subject& subject) {
  const bool whole = !subject.device.identifier.partition;
  const std::string type = withoutFieldNames(contentType(subject));
  std::string text =
      row(whole ? "Content (IOContent)" : "Partition Type", type.empty() ? "None" : type);
  if (subject.contents.isVolume()) {
    const FileSystemNames names = fileSystemNames(subject.contents.fileSystem);
    text += row(kPersonalityField, names.personality) + row("Type (Bundle)", names.bundle) +
            row("Name (User Visible)", names.userVisible);
  }
  return text + "\n";
}

// The kernel names disks by their driver.
std::string_view protocol(const Disk& disk) {
  struct Driver {
    std::string_view prefix;
    std::string_view protocol;
  };
  constexpr std::array kDrivers{
      Driver{"loop", "Disk Image"},
      Driver{"nvme", "PCI-Express"},
      Driver{"mmcblk", "Secure Digital"},
      Driver{"sr", "ATAPI"},
  };
  for (const Driver& driver : kDrivers) {
    if (disk.whole.kernelName.starts_with(driver.prefix)) {
      return driver.protocol;
    }
  }
  const bool isScsi = disk.whole.kernelName.starts_with("sd");
  const std::string_view scsi = disk.kind == DiskKind::external ? "USB" : "SATA";
  return isScsi ? scsi : "Virtual Interface";
}

std::string sizeRows(const Subject& subject) {
  std::string text = row("Disk Size", longSize(subject.device.size)) +
                     row("Device Block Size", std::to_string(blockSize(subject.disk)) + " Bytes") +
                     "\n";
  struct statvfs usage {};
  if (subject.mounts.empty() || ::statvfs(subject.mounts.front().point.c_str(), &usage) != 0) {
    return text;
  }
  return text + row("Volume Total Space", longSize(usage.f_blocks * usage.f_frsize)) +
         row("Volume Free Space", longSize(usage.f_bfree * usage.f_frsize)) +
         row("Allocation Block Size", std::to_string(usage.f_frsize) + " Bytes") + "\n";
}

std::string_view volumeReadOnly(const Subject& subject) {
  if (!subject.contents.isVolume()) {
    return kNoFileSystem;
  }
  if (subject.mounts.empty()) {
    return "Not applicable (not mounted)";
  }
  return subject.mounts.front().readOnly ? "Yes (read-only mount flag set)" : "No";
}

std::string mediaRows(const Subject& subject) {
  const DiskKind kind = subject.disk.kind;
  return row("Media Read-Only", yesOrNo(subject.device.readOnly)) +
         row("Volume Read-Only", volumeReadOnly(subject)) + "\n" +
         row("Device Location", kind == DiskKind::internal ? "Internal" : "External") +
         row("Removable Media", subject.disk.removable ? "Removable" : "Fixed") +
         row("Virtual", yesOrNo(kind == DiskKind::diskImage || kind == DiskKind::synthesized)) +
         "\n";
}

// A row's value; none when there is no such row. A value never holds a line feed.
std::optional<std::string> valueIn(std::string_view info, std::string_view field) {
  const std::string start = "\n   " + std::string(field) + ":";
  const std::size_t at = info.find(start);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view line = info.substr(at + 1, info.find('\n', at + 1) - at - 1);
  return std::string(line.substr(std::min(kValueColumn, line.size())));
}

}  // namespace

std::optional<std::string> volumeNameIn(std::string_view info) {
  // Where there is no file system, the row of the name says so, as a label may.
  return valueIn(info, kPersonalityField) ? valueIn(info, kNameField) : std::nullopt;
}

int infoCommand(std::string_view argument) {
  const std::vector<Disk> disks = listDisks();
  const auto found = findByArgument(disks, argument);
  if (!found) {
    throw ToolError("Could not find disk: " + printable(argument));
  }
  const Subject subject{.disk = *found->disk,
                        .device = *found->device,
                        .contents = readContents(*found->disk, *found->device),
                        .mounts = mountsOf(found->device->number, readMountTable())};
  print(identityRows(subject) + volumeRows(subject) + typeRows(subject) +
        row("Media Type", "Generic") + row("Protocol", protocol(subject.disk)) + "\n" +
        sizeRows(subject) + mediaRows(subject));
  return 0;
}

}  // namespace quorvel
