// mount_ntfs: mounts an NTFS volume for reading and writing, for the user who called sudo.

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/NtfsDriver.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/Library/VolumesFolder.hpp"
#include "Tools/mount_ntfs/MountDevice.hpp"
#include "Tools/mount_ntfs/MountFolder.hpp"
#include "Tools/mount_ntfs/MountOptions.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: mount_ntfs [-o OPTIONS] DEVICE DIRECTORY\n"
    "       mount_ntfs --help\n"
    "Mounts the NTFS volume on DEVICE (/dev/disk3s1) on the empty folder DIRECTORY. OPTIONS is a\n"
    "comma-separated list of rw (the default), ro, rdonly, noexec, noatime, nosuid, nodev and\n"
    "nobrowse; the last three change nothing. Only root may do it: sudo mount_ntfs ...\n";

struct Request {
  MountOptions options;
  std::string device;
  std::string folder;
};

Request parseRequest(Arguments arguments) {
  Request request;
  std::vector<std::string> operands;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view word = arguments[i];
    if (word == "-o" && i + 1 < arguments.size()) {
      addMountOptions(arguments[++i], request.options);
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

bool isReadOnly(dev_t device) {
  const auto mounts = mountsOf(device, readMountTable());
  return !mounts.empty() && mounts.back().readOnly;
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

int mountForCaller(const Request& request) {
  requireRoot("mount a volume");
  // The caller's paths may lead into a file system that does not answer: not under the lock.
  const Identifier identifier = identifyDevice(request.device);
  const MountFolder folder = openMountFolder(request.folder, caller().user);
  VolumesLock lock;
  lock.take(identifier);
  const BlockDevice device = requireMountable(identifier, request.device);
  requireNoMount(folder);
  const NtfsMountResult result =
      mountNtfs(device, folder.folder.get(),
                driverOptions(request.options, caller().user, caller().group), caller().user);
  printError(result.driverText);
  if (!result.mounted) {
    throw ToolError("mount_ntfs: " + printable(request.device) + " could not be mounted. " +
                    adviceFor(result.condition));
  }
  const bool restricted = !request.options.readOnly && isReadOnly(device.number);
  if (restricted || result.condition != NtfsCondition::sound) {
    printError("mount_ntfs: " + printable(request.device) + " is mounted" +
               (restricted ? " read-only. " : ". ") + adviceFor(result.condition) + "\n");
  }
  linkInVolumes(lock, folder.path);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  quorvel::distrustCaller();
  const quorvel::Arguments arguments(argv, static_cast<std::size_t>(argc));
  return quorvel::runTool(quorvel::kUsage, arguments.subspan(1), [](quorvel::Arguments words) {
    return quorvel::mountForCaller(quorvel::parseRequest(words));
  });
}
