#include "Tools/mount_ntfs/Checks.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/Ownership.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// Which leads to the very folder, wherever it has been moved to.
std::string linkTo(const UniqueFd& folder) {
  return "/proc/self/fd/" + std::to_string(folder.get());
}

UniqueFd openFolder(const std::string& path) {
  UniqueFd folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (folder) {
    return folder;
  }
  const int error = errno;
  if (error == ENOTDIR || error == ELOOP) {
    throw ToolError(
        "mount_ntfs: " + printable(path) +
        " is not a folder (a symbolic link is none either). Name a folder to mount on.");
  }
  throw ToolError(errorText("mount_ntfs: " + printable(path), error) +
                  ". Make the folder first (mkdir), then try again.");
}

void requireOwner(const MountFolder& folder, uid_t user) {
  struct stat status {};
  if (::fstat(folder.descriptor.get(), &status) != 0 ||
      (user != 0 && status.st_uid != user && status.st_uid != 0)) {
    throw ToolError("mount_ntfs: " + printable(folder.path) +
                    " is somebody else's. Name a folder of your own.");
  }
}

void requireEmpty(const MountFolder& folder) {
  std::error_code error;
  const bool isEmpty = std::filesystem::is_empty(linkTo(folder.descriptor), error);
  if (error) {
    throw ToolError(
        errorText("mount_ntfs: " + printable(folder.path) + " cannot be read", error.value()) +
        ". Check its permissions, then try again.");
  }
  if (!isEmpty) {
    throw ToolError("mount_ntfs: " + printable(folder.path) +
                    " is not empty, and the volume would hide what is in it. Move these files "
                    "away or rename the folder, then try again.");
  }
}

void requireNotMounted(const BlockDevice& device, const std::string& name) {
  const auto mounts = mountsOf(device.number);
  if (!mounts.empty()) {
    throw ToolError("mount_ntfs: " + printable(name) + " is mounted on " +
                    printable(mounts.front().point) +
                    " already. Unmount it first: diskutil umount " + toText(device.identifier));
  }
}

// Of an NTFS volume whose beginnings are destroyed nothing is recognized: the driver says what is
// wrong with it. Anything else that is recognized (a RAID member, another file system) is refused.
void requireNtfs(const BlockDevice& device, const std::string& name) {
  if (requireContents(device).fileSystem != "ntfs" && !isUnrecognized(device)) {
    throw ToolError("mount_ntfs: " + printable(name) +
                    " does not hold an NTFS file system. \"diskutil list\" shows which partitions "
                    "do; if this one should, unlock it (BitLocker) or run chkdsk /f on it in "
                    "Windows.");
  }
}

}  // namespace

MountFolder openMountFolder(const std::string& path, uid_t user) {
  MountFolder result{.descriptor = openFolder(path), .path = {}};
  result.path = linkTarget(linkTo(result.descriptor));
  if (result.path.empty()) {
    throw ToolError("mount_ntfs: the real path of " + printable(path) +
                    " cannot be found out. Mount the proc file system at /proc and try again.");
  }
  requireNoMount(result);
  requireOwner(result, user);
  requireEmpty(result);
  return result;
}

// What is mounted there since we opened the folder covers it, and has the folder's mount as parent.
void requireNoMount(const MountFolder& folder) {
  const std::uint64_t id = placeOf("", folder.descriptor.get(), AT_EMPTY_PATH).stx_mnt_id;
  const auto mounts = readMountTable();
  const bool taken = std::any_of(mounts.begin(), mounts.end(), [&](const MountEntry& mount) {
    return (mount.id == id || mount.parent == id) && mount.point == folder.path;
  });
  if (taken) {
    throw ToolError("mount_ntfs: another volume is mounted on " + printable(folder.path) +
                    ". Unmount that one, or rename one of the two volumes, and try again.");
  }
}

void requireMountable(const BlockDevice& device, const std::string& name) {
  requireNotMounted(device, name);
  requireNtfs(device, name);
  requireCallersImage(device);
}

}  // namespace quorvel
