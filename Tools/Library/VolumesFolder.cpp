#include "Tools/Library/VolumesFolder.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <functional>
#include <optional>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/Folder.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

constexpr const char* kPath = kVolumesFolder.data();
constexpr std::string_view kLinkEnd = "/.";
constexpr unsigned kHighestNumber = 9999;

std::string pathOf(std::string_view name) {
  return std::string(kVolumesFolder) + "/" + std::string(name);
}

UniqueFd openVolumes() {
  return UniqueFd(::open(kPath, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Whoever else may write there could exchange a folder for a link while root works on it.
bool isRootsAlone(int folder) {
  struct stat status {};
  return ::fstat(folder, &status) == 0 && status.st_uid == 0 &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

UniqueFd makeVolumes() {
  if (::mkdir(kPath, 0755) != 0 && errno != EEXIST) {
    throw ToolError(errorText("The folder /Volumes cannot be made") +
                    ". Make it yourself (sudo mkdir /Volumes) and try again.");
  }
  UniqueFd folder = openVolumes();
  if (!folder || !isRootsAlone(folder.get())) {
    throw ToolError(
        "/Volumes must be a folder that belongs to root and that nobody else may "
        "write to. Put that right (sudo chown root /Volumes; sudo chmod 755 /Volumes) "
        "and try again.");
  }
  return folder;
}

// The mount point that our link of this name leads to; none when it is no link of ours.
std::optional<std::string> mountPointOf(int folder, const std::string& name) {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlinkat(folder, name.c_str(), target.data(), target.size());
  const std::string_view text(target.data(),
                              static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  return text.ends_with(kLinkEnd)
             ? std::optional(std::string(text.substr(0, text.size() - kLinkEnd.size())))
             : std::nullopt;
}

bool isMountPoint(const std::string& path, const std::vector<MountEntry>& mounts) {
  return std::any_of(mounts.begin(), mounts.end(),
                     [&path](const MountEntry& mount) { return mount.point == path; });
}

// Where the link leads is not walked to: the way may lie in a file system that does not answer.
bool isStaleLink(int folder, const std::string& name, const std::vector<MountEntry>& mounts) {
  const auto target = mountPointOf(folder, name);
  return target && !isMountPoint(*target, mounts);
}

bool isFreeFolder(int folder, const std::string& name) {
  if (isMountPoint(pathOf(name), readMountTable())) {
    return false;
  }
  const UniqueFd found(
      ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return found && isRootsAlone(found.get()) && folderEntries(found.get()).empty();
}

// Tries the names in turn until `make` succeeds; it returns an errno.
std::string makeEntry(VolumesLock& lock, int folder, std::string_view name,
                      const std::function<int(const std::string&)>& make) {
  for (unsigned number = 0; number <= kHighestNumber; ++number) {
    const std::string entry = numberedName(name, number);
    if (!lock.tryTakeEntry(entry)) {
      continue;
    }
    if (isStaleLink(folder, entry, readMountTable())) {
      ::unlinkat(folder, entry.c_str(), 0);
    }
    const int error = make(entry);
    if (error == 0) {
      return pathOf(entry);
    }
    if (error != EEXIST) {
      throw ToolError(errorText(printable(pathOf(entry)) + " cannot be made", error) +
                      ". See that there is room and that nothing write-protects /Volumes.");
    }
  }
  throw ToolError("Every name from \"" + printable(pathOf(name)) +
                  "\" on is taken. Remove what is no longer "
                  "needed from /Volumes and try again.");
}

}  // namespace

std::string makeVolumeFolder(VolumesLock& lock, std::string_view name) {
  const UniqueFd folder = makeVolumes();
  return makeEntry(lock, folder.get(), name, [&folder](const std::string& entry) {
    const bool made = ::mkdirat(folder.get(), entry.c_str(), 0755) == 0;
    return made || (errno == EEXIST && isFreeFolder(folder.get(), entry)) ? 0 : errno;
  });
}

void makeVolumeLink(VolumesLock& lock, std::string_view name, const std::string& mountPoint) {
  const UniqueFd folder = makeVolumes();
  const std::string target = mountPoint + std::string(kLinkEnd);
  makeEntry(lock, folder.get(), name, [&](const std::string& entry) {
    if (mountPointOf(folder.get(), entry) == mountPoint) {
      return 0;  // Left behind by an earlier mount on the same folder.
    }
    return ::symlinkat(target.c_str(), folder.get(), entry.c_str()) == 0 ? 0 : errno;
  });
}

void removeVolumeEntries(VolumesLock& lock, const std::string& mountPoint) {
  const UniqueFd folder = openVolumes();
  if (!folder || !isRootsAlone(folder.get())) {
    return;
  }
  for (const std::string& name : folderEntries(folder.get())) {
    if (pathOf(name) == mountPoint && lock.tryTakeEntry(name)) {
      ::unlinkat(folder.get(), name.c_str(), AT_REMOVEDIR);
    } else if (mountPointOf(folder.get(), name) == mountPoint && lock.tryTakeEntry(name)) {
      ::unlinkat(folder.get(), name.c_str(), 0);
    }
  }
}

std::vector<std::string> staleVolumeLinks(const std::vector<MountEntry>& mounts) {
  const UniqueFd folder = openVolumes();
  std::vector<std::string> names =
      folder ? folderEntries(folder.get()) : std::vector<std::string>();
  std::erase_if(names,
                [&](const std::string& name) { return !isStaleLink(folder.get(), name, mounts); });
  return names;
}

void removeStaleVolumeLinks(VolumesLock& lock) {
  for (const std::string& name : staleVolumeLinks(readMountTable())) {
    // Looked at again when nobody else works on it: a new mount may have taken the link over.
    const UniqueFd folder = openVolumes();
    if (lock.tryTakeEntry(name) && isStaleLink(folder.get(), name, readMountTable())) {
      ::unlinkat(folder.get(), name.c_str(), 0);
    }
  }
}

}  // namespace quorvel
