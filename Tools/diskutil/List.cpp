// diskutil list: a title, a header row, and a row for each partition, disk by disk.

#include <cstdlib>
#include <string>
#include <string_view>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/diskutil/Commands.hpp"
#include "Tools/diskutil/Wording.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kHeader =
    "   #:                       TYPE NAME                    SIZE       IDENTIFIER\n";
constexpr std::size_t kNumberWidth = 4;
constexpr std::size_t kTypeWidth = 26;
constexpr std::size_t kNameWidth = 23;
constexpr std::size_t kSizeWidth = 10;

// A file system directly on the disk is shown by its own name where a scheme would stand.
std::string typeOf(const BlockDevice& device, const Contents& contents) {
  if (!device.isWhole() || !contents.isVolume()) {
    return shownName(contents.type);
  }
  return contents.fileSystem == "ntfs" ? "Windows_NTFS" : contents.fileSystem;
}

std::string titleOf(const BlockDevice& disk) {
  return "\n" + nodePath(disk.identifier) + " (" + std::string(disk.kind) + "):\n" +
         std::string(kHeader);
}

std::string rowOf(const BlockDevice& device, const Contents& contents) {
  const std::string number = std::to_string(device.identifier.partition.value_or(0));
  const std::string type = typeOf(device, contents);
  const std::string name = contents.isVolume() ? nameOf(contents) : "";
  const std::string size = shortSize(device.size);
  return padding(number, kNumberWidth) + number + ": " + padding(type, kTypeWidth) + type + " " +
         name + padding(name, kNameWidth) + (device.isWhole() ? "*" : " ") + size +
         padding(size, kSizeWidth) + " " + toText(device.identifier) + "\n";
}

}  // namespace

int listCommand(const BlockDevices& devices) {
  std::string text;
  for (const BlockDevice& device : devices) {
    // What udev has not looked at yet appears when it has.
    if (const auto contents = readContents(device)) {
      text += (device.isWhole() ? titleOf(device) : "") + rowOf(device, *contents);
    }
  }
  print(text.empty() ? text : text.substr(1) + "\n");
  return EXIT_SUCCESS;
}

}  // namespace quorvel
