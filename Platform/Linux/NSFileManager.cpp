#include "Platform/Foundation/NSFileManager.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

bool isMountRoot(int fd, const char* path, int flags) {
  struct statx status {};
  return ::statx(fd, path, flags, 0, &status) != 0 ||
         (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

bool hasEntry(const UniqueFd& folder) {
  std::error_code problem;
  const std::filesystem::directory_iterator first("/proc/self/fd/" + std::to_string(folder.get()),
                                                  problem);
  return problem || first != std::filesystem::directory_iterator();
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
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (fd) {
    return isMountRoot(fd.get(), "", AT_EMPTY_PATH) || hasEntry(fd);
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
