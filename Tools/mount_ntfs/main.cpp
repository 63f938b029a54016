// mount_ntfs: mounts an NTFS volume for reading and writing, for the user who called sudo.

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/NtfsDriver.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumesFolder.hpp"
#include "Tools/mount_ntfs/Checks.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: mount_ntfs [-o OPTIONS] DEVICE DIRECTORY\n"
    "       mount_ntfs --help\n"
    "Mounts the NTFS volume on DEVICE (/dev/disk3s1) on the empty folder DIRECTORY. OPTIONS is a\n"
    "comma-separated list of rw (the default), ro and nobrowse, which changes nothing. Only root\n"
    "may do it: sudo mount_ntfs ...\n";

struct Request {
  bool readOnly = false;
  std::string device;
  std::string folder;
};

// Not delay_mtime: it sets a file's time anew when the file is closed, over the one that whoever
// copied the file has just given it.
// A user map on the disk would choose owners, set-user-id programs and all.
std::string driverOptions(bool readOnly) {
  return std::string(readOnly ? "ro" : "rw") +
         ",nosuid,nodev,big_writes,umask=077,fmask=0177,usermapping=/dev/null,uid=" +
         std::to_string(caller().user) + ",gid=" + std::to_string(caller().group);
}

// Of contradicting words the last one counts.
void readOptions(std::string_view list, Request& request) {
  while (!list.empty()) {
    const std::string_view word = takeUntil(list, ',');
    if (word == "rw" || word == "ro") {
      request.readOnly = word == "ro";
    } else if (word != "nobrowse") {
      throw UsageError("mount_ntfs: the mount option \"" + printable(word) + "\" is not known.");
    }
  }
}

Request parseRequest(Arguments arguments) {
  Request request;
  std::vector<std::string> operands;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view word = arguments[i];
    if (word == "-o" && i + 1 < arguments.size()) {
      readOptions(arguments[++i], request);
    } else if (word.starts_with('-')) {
      throw UsageError("mount_ntfs: \"" + printable(word) + "\" is not known, or not complete.");
    } else {
      operands.emplace_back(word);
    }
  }
  if (operands.size() != 2) {
    throw UsageError("mount_ntfs: exactly one device and one folder are needed.");
  }
  request.device = std::move(operands.front());
  request.folder = std::move(operands.back());
  return request;
}

const BlockDevice& requireDevice(const BlockDevices& devices, const std::string& name) {
  const BlockDevice* const found = findDevice(devices, name);
  if (found == nullptr) {
    throw ToolError("mount_ntfs: there is no device " + printable(name) +
                    ". \"diskutil list\" shows the disks that are attached.");
  }
  return *found;
}

// The volume is in use all the same when its link cannot be made.
void linkInVolumes(VolumesLock& lock, const std::string& folder) {
  try {
    makeVolumeLink(lock, folder.substr(folder.rfind('/') + 1), folder);
  } catch (const ToolError& error) {
    printError("mount_ntfs: the volume is mounted, but has no link in /Volumes: " +
               std::string(error.what()) + "\n");
  }
}

int mountForCaller(Arguments arguments) {
  const Request request = parseRequest(arguments);
  if (!isRoot()) {
    throw ToolError("Only root may mount a volume. Run the command with sudo.");
  }
  // The caller's paths may lead into a file system that does not answer: not under the lock.
  const BlockDevices devices = listDevices();
  const BlockDevice& device = requireDevice(devices, request.device);
  const MountFolder folder = openMountFolder(request.folder, caller().user);
  VolumesLock lock;
  lock.take(device);
  requireMountable(device, request.device);
  requireNoMount(folder);
  const std::string name = "mount_ntfs: " + printable(request.device);
  const std::string advice(mountNtfs(device, folder.descriptor.get(),
                                     driverOptions(request.readOnly), caller().user,
                                     name + " could not be mounted."));
  const auto mounts = mountsOf(device.number);
  const bool restricted = !request.readOnly && !mounts.empty() && mounts.back().readOnly;
  if (restricted || !advice.empty()) {
    printError(name + " is mounted" + (restricted ? " read-only. " : ". ") + advice + "\n");
  }
  linkInVolumes(lock, folder.path);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  quorvel::distrustCaller();
  return quorvel::runTool(quorvel::kUsage, argc, argv, quorvel::mountForCaller);
}
