// diskutil list: a title, a header row, and a row for each partition, disk by disk.

#include <cstdlib>
#include <string>
#include <string_view>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/PartitionType.hpp"
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

std::string titleOf(const BlockDevice& disk) {
  return nodePath(disk.identifier) + " (" + std::string(kindText(disk.kind)) + "):\n" +
         std::string(kHeader);
}

std::string deviceText(const BlockDevice& device, const Contents& contents) {
  const std::string name = contents.isVolume() ? nameOf(contents) : "";
  if (device.isWhole()) {
    return titleOf(device) +
           rowText({.number = 0, .type = wholeType(contents), .name = name, .mark = '*'}, device);
  }
  return rowText({.number = device.identifier.partition.value_or(0),
                  .type = partitionTypeName(contents.tableType, contents.partitionType),
                  .name = name},
                 device);
}

}  // namespace

int listCommand(const BlockDevices& devices) {
  std::string text;
  for (const BlockDevice& device : devices) {
    // What udev has not looked at yet appears when it has.
    if (const auto contents = readContents(device)) {
      text += (device.isWhole() && !text.empty() ? "\n" : "") + deviceText(device, *contents);
    }
  }
  print(text + (text.empty() ? "" : "\n"));
  return EXIT_SUCCESS;
}

}  // namespace quorvel
