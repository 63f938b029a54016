#include "Tools/diskutil/Ownership.hpp"

#include <blkid/blkid.h>
#include <mntent.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/DiskImage.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

using FstabFile = std::unique_ptr<FILE, decltype(&::endmntent)>;
using Probe = std::unique_ptr<blkid_struct_probe, decltype(&::blkid_free_probe)>;

// Through which our own tools mount.
bool isOurMount(const Identifier& identifier, const MountEntry& mount) {
  return mount.source == nodePath(identifier);
}

// NAME=value, as fstab(5) has it: UUID, LABEL, PARTUUID, PARTLABEL.
bool hasTag(const BlockDevice& device, const std::string& name, std::string_view value) {
  const Probe probe(::blkid_new_probe_from_filename(("/dev/" + device.kernelName).c_str()),
                    &::blkid_free_probe);
  if (!probe) {
    return false;
  }
  ::blkid_probe_enable_partitions(probe.get(), 1);
  ::blkid_probe_set_partitions_flags(probe.get(), BLKID_PARTS_ENTRY_DETAILS);
  ::blkid_do_safeprobe(probe.get());
  const std::string key = name.starts_with("PART") ? "PART_ENTRY_" + name.substr(4) : name;
  const char* found = nullptr;
  return ::blkid_probe_lookup_value(probe.get(), key.c_str(), &found, nullptr) == 0 &&
         found == value;
}

bool isSource(const BlockDevice& device, std::string source) {
  const std::size_t equals = source.find('=');
  if (equals != std::string::npos && !source.starts_with('/')) {
    std::string_view value = std::string_view(source).substr(equals + 1);
    value = value.starts_with('"') ? value.substr(1, value.rfind('"') - 1) : value;
    return hasTag(device, source.substr(0, equals), value);
  }
  struct stat status {};
  return source.starts_with("/dev/") && ::stat(source.c_str(), &status) == 0 &&
         S_ISBLK(status.st_mode) && status.st_rdev == device.number;
}

// What our own tools have mounted is elsewhere than the administrator wants it.
bool isInFstab(const BlockDevice& device, const MountEntry& mount) {
  const FstabFile file(::setmntent("/etc/fstab", "re"), &::endmntent);
  if (!file || isOurMount(device.identifier, mount)) {
    return false;
  }
  while (const mntent* const row = ::getmntent(file.get())) {  // NOLINT(concurrency-mt-unsafe)
    if (row->mnt_dir == mount.point || isSource(device, row->mnt_fsname)) {
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
      const std::string name(point.substr(0, point.find('/')));
      const passwd* const user = ::getpwnam(name.c_str());  // NOLINT(concurrency-mt-unsafe)
      return user != nullptr && name.size() < point.size() ? std::optional(user->pw_uid)
                                                           : std::nullopt;
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

std::string nameOf(uid_t user) {
  const passwd* const entry = ::getpwuid(user);  // NOLINT(concurrency-mt-unsafe)
  return entry != nullptr ? std::string(entry->pw_name) : "user " + std::to_string(user);
}

void requireMayUnmount(const BlockDevice& device, const MountEntry& mount) {
  const uid_t user = userOf(device, mount);
  if (isInFstab(device, mount)) {
    throw ToolError("/etc/fstab has it, and it is mounted on " + printable(mount.point) +
                    ": that is the administrator's will. Root may unmount it (sudo umount " +
                    printable(mount.point) + ").");
  }
  if (user != 0 && user != caller().user) {
    throw ToolError("It was mounted for " + nameOf(user) + ", on " + printable(mount.point) +
                    ". Nobody else but root may unmount it (sudo umount " + printable(mount.point) +
                    ").");
  }
}

}  // namespace

void requireMayUnmount(const BlockDevice& device, const std::vector<MountEntry>& mounts) {
  if (caller().user == 0) {
    return;
  }
  for (const MountEntry& mount : mounts) {
    requireMayUnmount(device, mount);
  }
  requireCallersImage(device);
}

}  // namespace quorvel
