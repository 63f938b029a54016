#include "Tools/Library/DiskImage.hpp"

#include <fcntl.h>
#include <linux/loop.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/Folder.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/Promptly.hpp"
#include "Tools/Library/SmallFile.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

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
         (status.st_uid == 0 || status.st_uid == caller().user) &&
         (status.st_mode & S_IWOTH) == 0 && system.f_type != FUSE_SUPER_MAGIC &&
         info.lo_inode == status.st_ino && info.lo_device == status.st_dev;
}

bool isFit(const std::string& loop, const std::string& image) {
  const std::string node = "/dev/" + loop;
  return doPromptly([&] { return belongsToCallerOrRoot(node.c_str(), image.c_str()) ? 1 : 0; }) ==
         1;
}

// `name` as the kernel has it. What is unlocked or assembled has other devices beneath it.
void requireCallersImage(const std::string& name) {
  std::string folder = "/sys/class/block/" + name;
  folder += ::access((folder + "/partition").c_str(), F_OK) == 0 ? "/.." : "";
  const std::string image = readAttribute((folder + "/loop/backing_file").c_str());
  if (!image.empty() && !isFit(std::filesystem::canonical(folder).filename(), image)) {
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
