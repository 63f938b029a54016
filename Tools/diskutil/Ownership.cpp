#include "Tools/diskutil/Ownership.hpp"

#include <mntent.h>
#include <pwd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/DiskImage.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

using FstabFile = std::unique_ptr<FILE, decltype(&::endmntent)>;

// Through which our own tools mount.
bool isOurMount(const Identifier& identifier, const MountEntry& mount) {
  return mount.source == nodePath(identifier);
}

// A device, or one of its tags, in quotes or not.
bool isSource(const BlockDevice& device, const Contents& contents, std::string source) {
  std::erase(source, '"');
  const auto& tags = contents.tags;
  return std::find(tags.begin(), tags.end(), source) != tags.end() ||
         (source.starts_with("/dev/") && findDevice(BlockDevices{device}, source) != nullptr);
}

// An NTFS volume has tags: one without was not looked at, and may be the one that the row means.
bool mayBeSource(const Contents& contents, const mntent& row) {
  return contents.tags.empty() && std::string_view(row.mnt_type).starts_with("ntfs") &&
         std::string_view(row.mnt_fsname).find('=') != std::string_view::npos;
}

// What our own tools have mounted is elsewhere than the administrator wants it.
bool isInFstab(const BlockDevice& device, const Contents& contents, const MountEntry& mount) {
  const FstabFile file(::setmntent("/etc/fstab", "re"), &::endmntent);
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

std::string userName(uid_t user) {
  const passwd* const entry = ::getpwuid(user);  // NOLINT(concurrency-mt-unsafe)
  return entry != nullptr ? std::string(entry->pw_name) : "user " + std::to_string(user);
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
    throw ToolError("It was mounted for " + userName(user) + ", on " + printable(mount.point) +
                    ". Nobody else but root may unmount it (sudo umount " + printable(mount.point) +
                    ").");
  }
}

}  // namespace

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
