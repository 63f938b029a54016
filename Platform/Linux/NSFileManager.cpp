#include "Platform/Foundation/NSFileManager.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

struct DirectoryCloser {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

bool isMountRoot(int fd, const char* path, int flags) {
  struct statx status {};
  return ::statx(fd, path, flags, 0, &status) != 0 ||
         (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

bool isRealEntry(const dirent& entry) {
  const std::string_view name(static_cast<const char*>(entry.d_name));
  return name != "." && name != "..";
}

bool hasEntry(UniqueFd fd) {
  const Directory directory(::fdopendir(fd.get()));
  if (!directory) {
    return true;
  }
  static_cast<void>(fd.release());
  errno = 0;  // How readdir(3) tells the end from a failure.
  while (const dirent* entry = ::readdir(directory.get())) {  // NOLINT(concurrency-mt-unsafe)
    if (isRealEntry(*entry)) {
      return true;
    }
  }
  return errno != 0;
}

bool isOthersFolder(const char* path) {
  struct stat status {};
  return ::lstat(path, &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid != ::getuid() &&
         !isMountRoot(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW);
}

}  // namespace

NSFileManager& NSFileManager::defaultManager() {
  static auto* const manager = new NSFileManager;  // Immortal, like all that threads may use.
  return *manager;
}

bool NSFileManager::removeItemAtPath(const std::string& path) {
  return ::unlink(path.c_str()) == 0;
}

bool NSFileManager::createFileAtPath(const std::string& path) {
  constexpr mode_t kDefaultPermissions = 0666;  // Less the umask.
  const UniqueFd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC,
                             kDefaultPermissions));
  return static_cast<bool>(file);
}

std::optional<bool> NSFileManager::hasSubpathsAtPath(const std::string& path) const {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (fd) {
    return isMountRoot(fd.get(), "", AT_EMPTY_PATH) || hasEntry(std::move(fd));
  }
  if (errno == EACCES && isOthersFolder(path.c_str())) {
    return std::nullopt;
  }
  return isAnythingAtPath(path);
}

bool NSFileManager::isAnythingAtPath(const std::string& path) const {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ||
         (errno != ENOENT && errno != ENOTDIR && errno != ENAMETOOLONG);
}

}  // namespace quorvel
