// diskutil info: what is known about one disk or partition, a row each.

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/diskutil/Commands.hpp"
#include "Tools/diskutil/Wording.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kValueColumn = 30;
constexpr std::string_view kNameField = "Volume Name";
constexpr std::string_view kPersonalityField = "File System Personality";
constexpr std::string_view kNoFileSystem = "Not applicable (no file system)";

struct Subject {
  const BlockDevice& device;
  Contents contents;
  std::vector<MountEntry> mounts;
};

std::string row(std::string_view field, std::string_view value) {
  const std::string text = "   " + std::string(field) + ":";
  return text + padding(text, kValueColumn) + std::string(value) + "\n";
}

std::string_view yesOrNo(bool value) { return value ? "Yes" : "No"; }

// Programs find the three rows they want by these texts, and what others wrote may hold one of
// them: in the path of a mount point or a partition's type it must not look like a row of its own.
std::string withoutFieldNames(std::string value) {
  for (const std::string_view field : {"Volume Name:", "Mounted:", "File System Personality:"}) {
    for (auto at = value.find(field); at != std::string::npos; at = value.find(field)) {
      value.at(at + field.size() - 1) = '?';
    }
  }
  return value;
}

std::string identityRows(const Subject& subject) {
  const Identifier& identifier = subject.device.identifier;
  return row("Device Identifier", toText(identifier)) + row("Device Node", nodePath(identifier)) +
         row("Whole", yesOrNo(subject.device.isWhole())) +
         row("Part of Whole", toText({.disk = identifier.disk, .partition = {}})) + "\n";
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

std::string typeRows(const Subject& subject) {
  const std::string type = withoutFieldNames(shownName(subject.contents.type));
  std::string text = row(subject.device.isWhole() ? "Content (IOContent)" : "Partition Type",
                         type.empty() ? "None" : type);
  if (subject.contents.isVolume()) {
    text += row(kPersonalityField, shownName(subject.contents.fileSystem));
  }
  return text + "\n";
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
  const bool isInternal = subject.device.kind.starts_with("internal");
  return row("Media Read-Only", yesOrNo(subject.device.readOnly)) +
         row("Volume Read-Only", volumeReadOnly(subject)) + "\n" +
         row("Device Location", isInternal ? "Internal" : "External") + "\n";
}

}  // namespace

bool describesVolume(std::string_view info, std::string_view name) {
  // Where there is no file system, the row of the name says so, as a label may.
  return info.find("\n" + row(kNameField, name)) != std::string_view::npos &&
         info.find("\n" + row(kPersonalityField, "").substr(0, kValueColumn)) !=
             std::string_view::npos;
}

int infoCommand(const BlockDevice& device) {
  const Subject subject{
      .device = device, .contents = requireContents(device), .mounts = mountsOf(device.number)};
  print(identityRows(subject) + volumeRows(subject) + typeRows(subject) +
        row("Disk Size", shortSize(device.size) + " (" + std::to_string(device.size) + " Bytes)") +
        "\n" + mediaRows(subject));
  return EXIT_SUCCESS;
}

}  // namespace quorvel
