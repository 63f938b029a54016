#include "Tools/Library/DiskImage.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "Tools/Library/CapturedRun.hpp"
#include "Tools/Library/Folder.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/PromptPath.hpp"
#include "Tools/Library/SmallFile.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

namespace fs = std::filesystem;

// The driver of such a file system says what it likes of who owns a file.
bool liesInUserSpace(int file) {
  const int id = mountIdOf(file);
  const std::vector<MountEntry> mounts = readMountTable();
  return !std::any_of(mounts.begin(), mounts.end(), [id](const MountEntry& mount) {
    return mount.id == id && !mount.fileSystem.starts_with("fuse");
  });
}

// The path is as whoever attached the file saw it, and may mean another file here: the kernel knows
// the file's numbers, and asks its file system for them.
bool isFileOf(const std::string& loop, const struct statx& status) {
  std::istringstream said(
      runPromptly("/sbin/losetup", {"-n", "-O", "BACK-INO,BACK-MAJ:MIN", "/dev/" + loop})
          .value_or(""));
  std::uint64_t inode = 0;
  std::string device;
  said >> inode >> device;
  return inode == status.stx_ino && device == std::to_string(status.stx_dev_major) + ":" +
                                                  std::to_string(status.stx_dev_minor);
}

bool belongsToCallerOrRoot(const std::string& loop, const std::string& path) {
  const UniqueFd file = openPromptly(path, O_NOFOLLOW);
  struct statx status {};
  return file &&
         ::statx(file.get(), "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_BASIC_STATS, &status) ==
             0 &&
         (status.stx_uid == 0 || status.stx_uid == caller().user) &&
         (status.stx_mode & S_IWOTH) == 0 && !liesInUserSpace(file.get()) && isFileOf(loop, status);
}

// `name` as the kernel has it. What is unlocked or assembled has other devices beneath it.
void requireCallersImage(const std::string& name) {
  std::string folder = "/sys/class/block/" + name;
  folder += ::access((folder + "/partition").c_str(), F_OK) == 0 ? "/.." : "";
  const std::string image = readAttribute((folder + "/loop/backing_file").c_str());
  if (!image.empty() && !belongsToCallerOrRoot(fs::canonical(folder).filename(), image)) {
    throw ToolError("The disk is an image file, " + printable(image) +
                    ", which is not known to be yours or root's: what others wrote there would "
                    "pass for a disk of yours. Root may do it, or whoever it belongs to.");
  }
  for (const std::string& part : folderEntries(folder + "/slaves")) {
    requireCallersImage(part);
  }
}

}  // namespace

void requireCallersImage(const BlockDevice& device) {
  if (caller().user != 0) {
    requireCallersImage(device.kernelName);
  }
}

}  // namespace quorvel
