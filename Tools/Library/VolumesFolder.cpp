#include "Tools/Library/VolumesFolder.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kFolder = "/Volumes";
constexpr std::string_view kLinkEnd = "/.";
constexpr unsigned kHighestNumber = 9999;

std::string pathOf(std::string_view name) { return std::string(kFolder) + "/" + std::string(name); }

// Whoever else may write there could exchange a folder for a link while root works on it.
bool isRootsAlone() {
  struct stat status {};
  return ::lstat(kFolder.data(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == 0 &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

void requireVolumes() {
  if (::mkdir(kFolder.data(), 0755) != 0 && errno != EEXIST) {
    throw ToolError(errorText("The folder /Volumes cannot be made") +
                    ". Make it yourself (sudo mkdir /Volumes) and try again.");
  }
  if (!isRootsAlone()) {
    throw ToolError(
        "/Volumes must be a folder that belongs to root and that nobody else may "
        "write to. Put that right (sudo chown root /Volumes; sudo chmod 755 /Volumes) "
        "and try again.");
  }
}

std::vector<std::string> entries() {
  return isRootsAlone() ? folderEntries(std::string(kFolder)) : std::vector<std::string>();
}

// The mount point that our link of this name leads to; empty when it is no link of ours.
std::string mountPointOf(const std::string& name) {
  const std::string target = linkTarget(pathOf(name));
  return target.ends_with(kLinkEnd) ? target.substr(0, target.size() - kLinkEnd.size()) : "";
}

// Where the link leads is not walked to: the way may lie in a file system that does not answer.
bool isStaleLink(const std::string& name, const std::vector<MountEntry>& mounts) {
  const std::string target = mountPointOf(name);
  return !target.empty() && std::ranges::find(mounts, target, &MountEntry::point) == mounts.end();
}

// A link, or a folder that is empty and on which nothing is mounted: the kernel removes no other.
void remove(const std::string& name) { static_cast<void>(std::remove(pathOf(name).c_str())); }

// Tries the names in turn until `make` succeeds with a path; it returns 0, else errno is set.
std::string makeEntry(VolumesLock& lock, std::string_view name,
                      const std::function<int(const char*)>& make) {
  requireVolumes();
  for (unsigned number = 0; number <= kHighestNumber; ++number) {
    const std::string entry = numberedName(name, number);
    std::string path = pathOf(entry);
    if (!lock.tryTakeEntry(entry)) {
      continue;
    }
    ::rmdir(path.c_str());  // An empty one is used again.
    if (isStaleLink(entry, readMountTable())) {
      remove(entry);
    }
    if (make(path.c_str()) == 0) {
      return path;
    }
    if (errno != EEXIST) {
      throw ToolError(errorText(printable(path) + " cannot be made") +
                      ". See that there is room and that nothing write-protects /Volumes.");
    }
  }
  throw ToolError("Every name from \"" + printable(pathOf(name)) +
                  "\" on is taken. Remove what is no longer "
                  "needed from /Volumes and try again.");
}

}  // namespace

std::string makeVolumeFolder(VolumesLock& lock, std::string_view name) {
  return makeEntry(lock, name, [](const char* path) { return ::mkdir(path, 0755); });
}

void makeVolumeLink(VolumesLock& lock, std::string_view name, const std::string& mountPoint) {
  removeVolumeEntries(lock, mountPoint);  // Left behind by an earlier mount on the same folder.
  const std::string target = mountPoint + std::string(kLinkEnd);
  makeEntry(lock, name, [&target](const char* path) { return ::symlink(target.c_str(), path); });
}

void removeVolumeEntries(VolumesLock& lock, const std::string& mountPoint) {
  for (const std::string& name : entries()) {
    if ((pathOf(name) == mountPoint || mountPointOf(name) == mountPoint) &&
        lock.tryTakeEntry(name)) {
      remove(name);
    }
  }
}

std::vector<std::string> staleVolumeLinks() {
  const std::vector<MountEntry> mounts = readMountTable();
  std::vector<std::string> names = entries();
  std::erase_if(names, [&mounts](const std::string& name) { return !isStaleLink(name, mounts); });
  return names;
}

void removeStaleVolumeLinks(VolumesLock& lock) {
  for (const std::string& name : staleVolumeLinks()) {
    // Looked at again when nobody else works on it: a new mount may have taken the link over.
    if (lock.tryTakeEntry(name) && isStaleLink(name, readMountTable())) {
      remove(name);
    }
  }
}

}  // namespace quorvel
