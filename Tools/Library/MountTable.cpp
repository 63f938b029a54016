#include "Tools/Library/MountTable.hpp"

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/Promptly.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// The kernel writes blank, tab, line feed and backslash as \ and three octal digits.
std::string decoded(std::string_view text) { return decodeEscapes(text, "\\", 3, 8); }

// Empty for an option without a value.
std::optional<std::string_view> optionOf(std::string_view options, std::string_view name) {
  while (!options.empty()) {
    std::string_view option = takeUntil(options, ',');
    if (takeUntil(option, '=') == name) {
      return option;
    }
  }
  return std::nullopt;
}

// Not by libmount: to load it takes half as long as a whole empty program, at each of our starts.
// 36 35 98:0 /root /point rw,noatime master:1 - ext3 /dev/root rw,errors=continue
std::optional<MountEntry> parseRow(std::string_view row) {
  MountEntry entry;
  const auto id = parseNumber<std::uint64_t>(takeUntil(row, ' '));
  const auto parent = parseNumber<std::uint64_t>(takeUntil(row, ' '));
  const auto device = parseDeviceNumber(takeUntil(row, ' '));
  takeUntil(row, ' ');  // The folder of the file system that is mounted.
  entry.point = decoded(takeUntil(row, ' '));
  const std::string_view options = takeUntil(row, ' ');
  while (!row.empty() && takeUntil(row, ' ') != "-") {
  }
  entry.fileSystem = decoded(takeUntil(row, ' '));
  entry.source = decoded(takeUntil(row, ' '));
  if (!id || !parent || !device || entry.fileSystem.empty()) {
    return std::nullopt;
  }
  entry.id = *id;
  entry.parent = *parent;
  entry.device = *device;
  entry.readOnly = optionOf(options, "ro") || optionOf(row, "ro");
  entry.options = row;
  return entry;
}

// By a child process, which walks to the folder around the mount point once. The mount itself
// cannot be held by a descriptor: that would keep it busy.
bool walkTo(const MountEntry& mount, const std::string& folder, const char* point) {
  return ::chdir(folder.c_str()) == 0 &&
         placeOf(point, AT_FDCWD, AT_SYMLINK_NOFOLLOW).stx_mnt_id == mount.id;
}

}  // namespace

std::vector<MountEntry> parseMountTable(std::string_view text) {
  std::vector<MountEntry> mounts;
  while (!text.empty()) {
    if (auto entry = parseRow(takeUntil(text, '\n'))) {
      mounts.push_back(std::move(*entry));
    }
  }
  return mounts;
}

std::vector<MountEntry> readMountTable() {
  const auto text = readSmallFile("/proc/self/mountinfo");
  if (!text) {
    throw ToolError(
        "/proc/self/mountinfo cannot be read, so nobody knows what is mounted. Mount "
        "the proc file system at /proc and try again.");
  }
  return parseMountTable(*text);
}

std::vector<MountEntry> mountsOf(dev_t device) {
  std::vector<MountEntry> mounts = readMountTable();
  std::erase_if(mounts, [device](const MountEntry& mount) { return mount.device != device; });
  return mounts;
}

std::optional<unsigned> numberOption(const MountEntry& mount, std::string_view name) {
  return parseNumber<unsigned>(optionOf(mount.options, name).value_or(""));
}

int unmountEntry(const MountEntry& mount, int flags) {
  const std::size_t start = mount.point.rfind('/') + 1;
  const std::string folder = mount.point.substr(0, start);
  const char* const point = mount.point.c_str() + start;
  const auto reached = doPromptly([&] { return walkTo(mount, folder, point) ? 0 : ESTALE; });
  if (reached != 0) {
    return reached.value_or(EAGAIN);
  }
  // The driver may take its time to write what is left when it is a person who asked for it.
  const auto unmounted = doPromptly(
      [&] {
        const bool isThere = walkTo(mount, folder, point);
        return !isThere ? ESTALE : ::umount2(point, flags | UMOUNT_NOFOLLOW) == 0 ? 0 : errno;
      },
      flags == 0);
  return unmounted.value_or(EAGAIN);
}

}  // namespace quorvel
