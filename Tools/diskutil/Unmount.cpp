// diskutil umount: unmounts a volume wherever it is mounted, and clears away what the mounts left.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/Ownership.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumesFolder.hpp"
#include "Tools/Library/VolumesLock.hpp"
#include "Tools/diskutil/Commands.hpp"
#include "Tools/diskutil/Dissenters.hpp"

namespace quorvel {
namespace {

std::string nestedMountRows(const MountEntry& mount) {
  std::string text;
  for (const MountEntry& other : readMountTable()) {
    if (other.parent == mount.id) {
      text += "Another file system is mounted inside it, on " + printable(other.point) +
              ": unmount that one first.\n";
    }
  }
  return text;
}

std::string busyMessage(const MountEntry& mount) {
  const auto dissenters = findDissenters(mount.device);
  const std::string nested = nestedMountRows(mount);
  if (dissenters.empty()) {
    return !nested.empty()
               ? nested + "Then try again."
               : "The system itself uses " + printable(mount.point) +
                     " (a disk image, a swap file, an exported folder). Stop that and try again.";
  }
  std::string text;
  for (const auto& [pid, program] : dissenters) {
    text += "Unmount was dissented by PID " + std::to_string(pid) + " (" + program + ")\n";
  }
  return text + nested + "Close what these programs have open on " + printable(mount.point) +
         ", or quit them, and try again.";
}

// What was plugged in this moment is looked through by the file manager and its thumbnailer, which
// let go of it between two files only, for some hundredths of a second, until they are through.
int unmountPatiently(const MountEntry& mount) {
  constexpr int kAttempts = 300;
  constexpr std::chrono::milliseconds kPause(10);
  int error = unmountEntry(mount, 0);
  for (int i = 1; i < kAttempts && error == EBUSY && nestedMountRows(mount).empty(); ++i) {
    std::this_thread::sleep_for(kPause);
    error = unmountEntry(mount, 0);
  }
  return error;
}

void unmount(const MountEntry& mount) {
  switch (const int error = unmountPatiently(mount)) {
    case 0:
      return;
    case ESTALE:
      throw ToolError("Another file system is mounted over " + printable(mount.point) +
                      ": unmount that one first, then try again.");
    case EAGAIN:
      throw ToolError("The way to " + printable(mount.point) +
                      " leads through a file system that does not answer: see to that one first.");
    case EBUSY:
      throw ToolError(busyMessage(mount));
    default:
      throw ToolError(errorText("unmount " + printable(mount.point), error) +
                      ". See the system's log (dmesg), then try again.");
  }
}

// Latest first, so that a mount over another one of the same volume goes before it.
void unmountAll(VolumesLock& lock, std::vector<MountEntry> mounts) {
  std::reverse(mounts.begin(), mounts.end());
  for (const MountEntry& mount : mounts) {
    unmount(mount);
    removeVolumeEntries(lock, mount.point);
  }
}

// What is mounted by an NTFS driver stays a volume of that kind, even if its device cannot be read
// any more.
void requireNtfs(const Identifier& identifier, const Contents& contents, const MountEntry& mount) {
  const bool isOurs = mount.fileSystem == "fuseblk" && mount.source == nodePath(identifier);
  if (contents.fileSystem != "ntfs" && mount.fileSystem != "ntfs3" && !isOurs) {
    throw ToolError(
        "It is not an NTFS volume, and only those are unmounted here. Use the system's own means "
        "(umount, or the desktop's file manager).");
  }
}

}  // namespace

int unmountCommand(const BlockDevice& device) {
  VolumesLock lock;
  lock.take(device);
  const std::string identifier = toText(device.identifier);
  const std::vector<MountEntry> mounts = mountsOf(device.number);
  if (mounts.empty()) {
    removeDeviceNode(device.identifier);
    print(identifier + " was already unmounted\n");
    return 0;
  }
  const Contents contents = readContents(device).value_or(Contents());
  try {
    requireNtfs(device.identifier, contents, mounts.front());
    requireMayUnmount(device, contents, mounts);
    unmountAll(lock, mounts);
  } catch (const ToolError& error) {
    throw ToolError("Unmount of " + identifier +
                    " failed: at least one volume could not be unmounted\n" + error.what());
  }
  removeDeviceNode(device.identifier);
  print("Volume " + nameOf(contents) + " on " + identifier + " unmounted\n");
  return 0;
}

}  // namespace quorvel
