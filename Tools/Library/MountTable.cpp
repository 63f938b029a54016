#include "Tools/Library/MountTable.hpp"

#include <fcntl.h>
#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>

#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/CapturedRun.hpp"
#include "Tools/Library/PromptPath.hpp"
#include "Tools/Library/SmallFile.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// The kernel writes blank, tab, line feed and backslash as \ and three octal digits.
std::string decoded(std::string_view text) { return decodeEscapes(text, "\\", 3, 8); }

bool hasOption(std::string_view options, std::string_view wanted) {
  while (!options.empty()) {
    if (takeUntil(options, ',') == wanted) {
      return true;
    }
  }
  return false;
}

// 36 35 98:0 /root /point rw,noatime master:1 - ext3 /dev/root rw,errors=continue
std::optional<MountEntry> parseRow(std::string_view row) {
  MountEntry entry;
  const auto id = parseNumber<int>(takeUntil(row, ' '));
  const auto parent = parseNumber<int>(takeUntil(row, ' '));
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
  entry.readOnly = hasOption(options, "ro") || hasOption(row, "ro");
  entry.options = row;
  return entry;
}

// Some drivers (ntfs-3g) let the kernel keep nothing. They are asked only when it is a person who
// has the volume unmounted, and when they have just answered somebody else.
UniqueFd openAnswering(const std::string& path, int flags, bool isAskedFor) {
  UniqueFd found = openPromptly(path, flags);
  if (!found && errno == EAGAIN && isAskedFor && runPromptly("/usr/bin/test", {"-e", path})) {
    found.reset(::open(path.c_str(), O_PATH | O_CLOEXEC | flags));
  }
  return found;
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

std::vector<MountEntry> mountsOf(dev_t device, const std::vector<MountEntry>& mounts) {
  std::vector<MountEntry> found;
  std::copy_if(mounts.begin(), mounts.end(), std::back_inserter(found),
               [device](const MountEntry& mount) { return mount.device == device; });
  return found;
}

int mountIdOf(int fd) {
  const auto text = readSmallFile(("/proc/self/fdinfo/" + std::to_string(fd)).c_str());
  std::string_view rest = text ? std::string_view(*text) : std::string_view();
  while (!rest.empty()) {
    std::string_view row = takeUntil(rest, '\n');
    if (takeUntil(row, '\t') == "mnt_id:") {
      return parseNumber<int>(row).value_or(-1);
    }
  }
  return -1;
}

std::optional<unsigned> numberOption(const MountEntry& mount, std::string_view name) {
  for (std::string_view rest = mount.options; !rest.empty();) {
    std::string_view option = takeUntil(rest, ',');
    if (takeUntil(option, '=') == name) {
      return parseNumber<unsigned>(option);
    }
  }
  return std::nullopt;
}

int unmountEntry(const MountEntry& mount, int flags) {
  // The folder around the mount point is walked to once. The mount itself cannot be held by a
  // descriptor: that would keep it busy.
  const std::size_t slash = mount.point.rfind('/');
  const std::string parent = mount.point.substr(0, slash + 1);
  const bool isAskedFor = flags == 0;
  const bool answers = static_cast<bool>(openAnswering(mount.point, O_NOFOLLOW, isAskedFor));
  const UniqueFd folder = answers ? openAnswering(parent, O_DIRECTORY, isAskedFor) : UniqueFd();
  if (!folder) {
    return errno == EAGAIN ? EAGAIN : ESTALE;
  }
  const std::string point =
      "/proc/self/fd/" + std::to_string(folder.get()) + "/" + mount.point.substr(slash + 1);
  UniqueFd found(::open(point.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!found || mountIdOf(found.get()) != mount.id) {
    return ESTALE;
  }
  found.reset();
  return ::umount2(point.c_str(), flags | UMOUNT_NOFOLLOW) == 0 ? 0 : errno;
}

}  // namespace quorvel
