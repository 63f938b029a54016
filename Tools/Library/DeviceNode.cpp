#include "Tools/Library/DeviceNode.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <string>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

dev_t numberOf(const std::string& path) {
  const struct statx place = placeOf(path.c_str());
  return S_ISBLK(place.stx_mode) ? makedev(place.stx_rdev_major, place.stx_rdev_minor) : 0;
}

}  // namespace

void makeDeviceNode(const BlockDevice& device) {
  const std::string path = nodePath(device.identifier);
  removeDeviceNode(device.identifier);
  if (::mknod(path.c_str(), S_IFBLK | S_IRUSR | S_IWUSR, device.number) != 0) {
    throw ToolError(errorText("The device node " + path + " cannot be made") +
                    ". If something else has that name, move it away; then try again.");
  }
}

void linkDeviceNode(const BlockDevice& device, uid_t owner) {
  const std::string target = "/dev/" + device.kernelName;
  const std::string link = "/dev/." + toText(device.identifier);
  ::unlink(link.c_str());
  const bool linked = numberOf(target) == device.number &&
                      ::symlink(target.c_str(), link.c_str()) == 0 &&
                      ::lchown(link.c_str(), owner, 0) == 0 &&
                      ::rename(link.c_str(), nodePath(device.identifier).c_str()) == 0;
  static_cast<void>(linked);  // The node stays: the volume is in use all the same.
}

void removeDeviceNode(const Identifier& identifier) {
  if (deviceNodeNumber(identifier)) {
    ::unlink(nodePath(identifier).c_str());
  }
}

std::optional<dev_t> deviceNodeNumber(const Identifier& identifier) {
  const std::string path = nodePath(identifier);
  const mode_t mode = placeOf(path.c_str(), AT_FDCWD, AT_SYMLINK_NOFOLLOW).stx_mode;
  return S_ISBLK(mode) || S_ISLNK(mode) ? std::optional(numberOf(path)) : std::nullopt;
}

uid_t deviceNodeOwner(const Identifier& identifier) {
  struct stat status {};
  return ::lstat(nodePath(identifier).c_str(), &status) == 0 ? status.st_uid : 0;
}

}  // namespace quorvel
