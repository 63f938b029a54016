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

// None when `name` is no symbolic link of root's.
std::optional<std::string> readRootsLink(int folder, const std::string& name) {
  struct stat status {};
  if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
      !S_ISLNK(status.st_mode) || status.st_uid != 0) {
    return std::nullopt;
  }
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlinkat(folder, name.c_str(), target.data(), target.size());
  return length > 0 ? std::optional(std::string(target.data(), static_cast<std::size_t>(length)))
                    : std::nullopt;
}

// "NAME" and "NAME 2" are names that a link to .../NAME may have.
bool isNameFor(std::string_view name, std::string_view target) {
  const std::string_view base = target.substr(target.rfind('/') + 1);
  if (target.front() != '/' || base.empty() || !name.starts_with(base)) {
    return false;
  }
  name.remove_prefix(base.size());
  return name.empty() || (name.size() > 1 && name.front() == ' ' &&
                          name.find_first_not_of("0123456789", 1) == std::string_view::npos);
}

bool isDeadLink(int folder, const std::string& name) {
  const auto target = readRootsLink(folder, name);
  return target && isNameFor(name, *target) && ::access(target->c_str(), F_OK) != 0 &&
         errno == ENOENT;
}

// Tries the names in turn until `make` succeeds; it returns an errno.
std::string makeEntry(int folder, std::string_view name,
                      const std::function<int(const std::string&)>& make) {
  for (unsigned number = 0; number <= kHighestNumber; ++number) {
    const std::string entry = numberedName(name, number);
    if (isDeadLink(folder, entry)) {
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

std::string makeVolumeFolder(std::string_view name) {
  const UniqueFd folder = makeVolumes();
  return makeEntry(folder.get(), name, [&folder](const std::string& entry) {
    return ::mkdirat(folder.get(), entry.c_str(), 0755) == 0 ? 0 : errno;
  });
}

std::string makeVolumeLink(std::string_view name, const std::string& target) {
  const UniqueFd folder = makeVolumes();
  return makeEntry(folder.get(), name, [&](const std::string& entry) {
    if (readRootsLink(folder.get(), entry) == target) {
      return 0;  // Left behind by an earlier mount on the same folder.
    }
    return ::symlinkat(target.c_str(), folder.get(), entry.c_str()) == 0 ? 0 : errno;
  });
}

void removeVolumeEntries(const std::string& mountPoint) {
  const UniqueFd folder = openVolumes();
  if (!folder || !isRootsAlone(folder.get())) {
    return;
  }
  for (const std::string& name : folderEntries(folder.get())) {
    if (pathOf(name) == mountPoint) {
      ::unlinkat(folder.get(), name.c_str(), AT_REMOVEDIR);
    } else if (readRootsLink(folder.get(), name) == mountPoint) {
      ::unlinkat(folder.get(), name.c_str(), 0);
    }
  }
}

std::vector<std::string> deadVolumeLinks() {
  std::vector<std::string> dead;
  const UniqueFd folder = openVolumes();
  for (const std::string& name :
       folder ? folderEntries(folder.get()) : std::vector<std::string>()) {
    if (isDeadLink(folder.get(), name)) {
      dead.push_back(pathOf(name));
    }
  }
  return dead;
}

}  // namespace quorvel
