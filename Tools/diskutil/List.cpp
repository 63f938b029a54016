// diskutil list: a title, a header row, and a row for each partition, disk by disk.

#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ContentsCache.hpp"
#include "Tools/Library/PartitionType.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/StaleVolumes.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/diskutil/Commands.hpp"
#include "Tools/diskutil/Sizes.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kHeader =
    "   #:                       TYPE NAME                    SIZE       IDENTIFIER\n";
constexpr std::size_t kTypeWidth = 26;
constexpr std::size_t kNameWidth = 23;
constexpr std::size_t kSizeWidth = 10;

struct Row {
  std::uint32_t number = 0;
  std::string type;
  std::string name;
  char mark = ' ';  ///< "*" before the size of a whole disk.
};

std::string padding(std::string_view text, std::size_t width) {
  const std::size_t count = characterCount(text);
  std::string blanks;
  blanks.resize(count < width ? width - count : 0, ' ');
  return blanks;
}

std::string rowText(const Row& row, const BlockDevice& device) {
  const std::string number = std::to_string(row.number);
  const std::string size = shortSize(device.size);
  return padding(number, 4) + number + ": " + padding(row.type, kTypeWidth) + row.type + " " +
         row.name + padding(row.name, kNameWidth) + row.mark + size + padding(size, kSizeWidth) +
         " " + toText(device.identifier) + "\n";
}

std::string_view kindText(DiskKind kind) {
  switch (kind) {
    case DiskKind::internal:
      return "internal, physical";
    case DiskKind::external:
      return "external, physical";
    case DiskKind::diskImage:
      return "disk image";
    case DiskKind::synthesized:
      return "synthesized";
  }
  return "";
}

// A file system directly on the disk is shown by its own name where a scheme would stand.
std::string wholeType(const Contents& contents) {
  if (contents.fileSystem == "ntfs") {
    return "Windows_NTFS";
  }
  return contents.isVolume() ? contents.fileSystem : schemeName(contents.tableType);
}

std::string nameOrNothing(const Contents& contents) {
  return contents.isVolume() ? nameOf(contents) : std::string();
}

std::string diskText(const Disk& disk, const ContentsByIdentifier& contents) {
  const Contents& whole = contents.at(disk.whole.identifier);
  std::string text = nodePath(disk.whole.identifier) + " (" + std::string(kindText(disk.kind)) +
                     "):\n" + std::string(kHeader);
  text +=
      rowText({.number = 0, .type = wholeType(whole), .name = nameOrNothing(whole), .mark = '*'},
              disk.whole);
  for (const BlockDevice& partition : disk.partitions) {
    const Contents& part = contents.at(partition.identifier);
    text += rowText({.number = partition.identifier.partition.value_or(0),
                     .type = partitionTypeName(part.tableType, part.partitionType),
                     .name = nameOrNothing(part)},
                    partition);
  }
  return text;
}

// An ordinary user's list is printed all the same when nobody may clean up.
bool isCleanedUpAndPrintedByRoot(const std::vector<Disk>& disks, int& status) {
  if (findStaleVolumes(disks).empty()) {
    return false;
  }
  if (isRoot()) {
    removeStaleVolumes();
    return false;
  }
  const auto result = runAgainAsRoot({"list"});
  status = result.value_or(0);
  return result.has_value();
}

}  // namespace

int listCommand() {
  const std::vector<Disk> disks = listDisks();
  ContentsCache cache;
  std::string text;
  for (const Disk& disk : disks) {
    text += diskText(disk, cache.contentsOf(disk)) + "\n";
  }
  cache.save();
  int status = 0;
  if (!isCleanedUpAndPrintedByRoot(disks, status)) {
    print(text);
  }
  return status;
}

}  // namespace quorvel
