// diskutil mount: the system's own, read-only mount of an NTFS volume in /Volumes.

#include <fcntl.h>
#include <grp.h>

#include <string>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/NtfsDriver.hpp"
#include "Tools/Library/Ownership.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumesFolder.hpp"
#include "Tools/Library/VolumesLock.hpp"
#include "Tools/diskutil/Commands.hpp"

namespace quorvel {
namespace {

// Who may have it mounted, by the drop-in for sudo.
constexpr const char* kGroup = "sudo";

// The group may read, nobody may write; no programs with other users' rights, no devices, and
// owners are not of the disk's choosing.
std::string mountOptions() {
  const group* const readers = ::getgrnam(kGroup);  // NOLINT(concurrency-mt-unsafe): one thread
  return "ro,nosuid,nodev,umask=0227,usermapping=/dev/null,uid=0,gid=" +
         std::to_string(readers != nullptr ? readers->gr_gid : 0);
}

void requireNtfs(const Identifier& identifier, const Contents& contents) {
  if (contents.fileSystem != "ntfs") {
    const std::string what = contents.isVolume() ? "a file system of type " + contents.fileSystem
                                                 : "no file system, or a locked one (BitLocker)";
    throw ToolError("Volume on " + toText(identifier) + " failed to mount: it holds " + what +
                    ", and only NTFS volumes are mounted here. Use the system's own means "
                    "(mount, or the desktop's file manager).");
  }
}

// Nothing is left behind when the driver refuses.
void mountVolume(VolumesLock& lock, const BlockDevice& device, const std::string& name) {
  const std::string path = makeVolumeFolder(lock, name);
  try {
    const UniqueFd folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) {
      throw ToolError(errorText("The new folder " + path + " cannot be opened") + ". Try again.");
    }
    mountNtfs(device, folder.get(), mountOptions(), 0,
              "Volume on " + toText(device.identifier) + " failed to mount.");
  } catch (const ToolError&) {
    removeVolumeEntries(lock, path);
    throw;
  }
}

}  // namespace

int mountCommand(const BlockDevice& device) {
  VolumesLock lock;
  lock.take(device);
  requireCallersImage(device);
  const Contents contents = requireContents(device);
  requireNtfs(device.identifier, contents);
  if (mountsOf(device.number).empty()) {
    mountVolume(lock, device, nameOf(contents));
  }
  print("Volume " + nameOf(contents) + " on " + toText(device.identifier) + " mounted\n");
  return 0;
}

}  // namespace quorvel
