#include "Tools/Library/Ownership.hpp"

#include <fcntl.h>
#include <linux/loop.h>
#include <linux/magic.h>
#include <mntent.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Linux/Support/Owned.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/Promptly.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// --- Disk images ------------------------------------------------------------------------------

// Most users have a group of their own, and many a umask that lets it write: whoever shares a
// user's primary group is trusted.
bool mayOthersWrite(const struct stat& file) {
  const bool isOwnGroup = file.st_gid == 0 || file.st_gid == caller().group;
  return (file.st_mode & (isOwnGroup ? S_IWOTH : S_IWGRP | S_IWOTH)) != 0;
}

// The path is as whoever attached the file saw it, and may mean another file here: the kernel knows
// the file's numbers. Of a file system in user space, the driver says what it likes of who owns a
// file.
bool belongsToCallerOrRoot(const char* loop, const char* path) {
  const UniqueFd file(::open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  const UniqueFd device(::open(loop, O_RDONLY | O_CLOEXEC));
  struct stat status {};
  struct statfs system {};
  loop_info64 info{};
  return ::fstat(file.get(), &status) == 0 && ::fstatfs(file.get(), &system) == 0 &&
         ::ioctl(device.get(), LOOP_GET_STATUS64, &info) == 0 &&
         (status.st_uid == 0 || status.st_uid == caller().user) && !mayOthersWrite(status) &&
         system.f_type != FUSE_SUPER_MAGIC && info.lo_inode == status.st_ino &&
         info.lo_device == status.st_dev;
}

bool isFit(const std::string& loop, const std::string& image) {
  const std::string node = "/dev/" + loop;
  return doPromptly([&] { return belongsToCallerOrRoot(node.c_str(), image.c_str()) ? 1 : 0; }) ==
         1;
}

// `folder` is the device's in sysfs. What is unlocked or assembled has other devices beneath it.
// The path of an image is not told when it is too long: whoever moves the file can see to that.
void requireCallersImage(std::string folder) {
  folder += ::access((folder + "/partition").c_str(), F_OK) == 0 ? "/.." : "";
  const bool isImage = ::access((folder + "/loop").c_str(), F_OK) == 0;
  const std::string image = readAttribute((folder + "/loop/backing_file").c_str());
  if (isImage && !isFit(std::filesystem::canonical(folder).filename(), image)) {
    throw ToolError("The disk is an image file (" + printable(image) +
                    ") which is not known to be yours or root's: what others wrote there would "
                    "pass for a disk of yours. Root may do it, or whoever it belongs to.");
  }
  folder += "/slaves/";
  for (const std::string& part : folderEntries(folder)) {
    requireCallersImage(folder + part);
  }
}

// --- Mounts -----------------------------------------------------------------------------------

// Through which our own tools mount.
bool isOurMount(const Identifier& identifier, const MountEntry& mount) {
  return mount.source == nodePath(identifier);
}

// A device, or one of its tags, in quotes or not.
bool isSource(const BlockDevice& device, const Contents& contents, std::string source) {
  std::erase(source, '"');
  return std::ranges::find(contents.tags, source) != contents.tags.end() ||
         (source.starts_with("/dev/") && findDevice(BlockDevices{device}, source) != nullptr);
}

// An NTFS volume has tags: one without was not looked at, and may be the one that the row means.
bool mayBeSource(const Contents& contents, const mntent& row) {
  return contents.tags.empty() && std::string_view(row.mnt_type).starts_with("ntfs") &&
         std::string_view(row.mnt_fsname).find('=') != std::string_view::npos;
}

// What our own tools have mounted is elsewhere than the administrator wants it.
bool isInFstab(const BlockDevice& device, const Contents& contents, const MountEntry& mount) {
  const Owned<FILE, ::endmntent> file(::setmntent("/etc/fstab", "re"));
  if (!file || isOurMount(device.identifier, mount)) {
    return false;
  }
  while (const mntent* const row = ::getmntent(file.get())) {  // NOLINT(concurrency-mt-unsafe)
    if (row->mnt_dir == mount.point || isSource(device, contents, row->mnt_fsname) ||
        mayBeSource(contents, *row)) {
      return true;
    }
  }
  return false;
}

// The desktop's mounter has a folder for each user, /media/USER or /run/media/USER, in which only
// root makes folders.
std::optional<uid_t> userOfMediaFolder(std::string_view point) {
  for (const std::string_view folder : {"/run/media/", "/media/"}) {
    if (point.starts_with(folder)) {
      point.remove_prefix(folder.size());
      const std::string name(takeUntil(point, '/'));
      const passwd* const user = ::getpwnam(name.c_str());  // NOLINT(concurrency-mt-unsafe)
      return user != nullptr && !point.empty() ? std::optional(user->pw_uid) : std::nullopt;
    }
  }
  return std::nullopt;
}

// Root stands for the system. `user_id` is who started a driver in user space; `uid`, of the
// kernel's drivers, whom the files are for.
uid_t userOf(const BlockDevice& device, const MountEntry& mount) {
  if (isOurMount(device.identifier, mount)) {
    return deviceNodeOwner(device.identifier);
  }
  for (const auto& user : {numberOption(mount, "user_id"), numberOption(mount, "uid"),
                           userOfMediaFolder(mount.point)}) {
    if (user.value_or(0) != 0) {
      return *user;
    }
  }
  return 0;
}

void requireMayUnmount(const BlockDevice& device, const Contents& contents,
                       const MountEntry& mount) {
  const uid_t user = userOf(device, mount);
  if (isInFstab(device, contents, mount)) {
    throw ToolError("/etc/fstab has it, and it is mounted on " + printable(mount.point) +
                    ": that is the administrator's will. Root may unmount it (sudo umount " +
                    printable(mount.point) + ").");
  }
  if (user != 0 && user != caller().user) {
    const passwd* const entry = ::getpwuid(user);  // NOLINT(concurrency-mt-unsafe)
    const std::string name = entry != nullptr ? entry->pw_name : "user " + std::to_string(user);
    throw ToolError("It was mounted for " + name + ", on " + printable(mount.point) +
                    ". Nobody else but root may unmount it (sudo umount " + printable(mount.point) +
                    ").");
  }
}

}  // namespace

void requireCallersImage(const BlockDevice& device) {
  if (caller().user != 0) {
    requireCallersImage("/sys/dev/block/" + std::to_string(major(device.number)) + ":" +
                        std::to_string(minor(device.number)));
  }
}

void requireMayUnmount(const BlockDevice& device, const Contents& contents,
                       const std::vector<MountEntry>& mounts) {
  if (caller().user == 0) {
    return;
  }
  for (const MountEntry& mount : mounts) {
    requireMayUnmount(device, contents, mount);
  }
  requireCallersImage(device);
}

}  // namespace quorvel
