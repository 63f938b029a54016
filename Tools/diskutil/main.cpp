// diskutil: the machine's disks and volumes, listed, described, mounted and unmounted.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/StaleVolumes.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/diskutil/Commands.hpp"
#include "Tools/diskutil/Lookup.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: diskutil list\n"
    "       diskutil info ID      describe a disk or a partition\n"
    "       diskutil mount ID     mount an NTFS volume read-only in /Volumes\n"
    "       diskutil umount ID    unmount it wherever it is mounted (also: unmount)\n"
    "       diskutil --help\n"
    "ID is an identifier from the last column of the list (disk3s1), its node (/dev/disk3s1), a\n"
    "mount point (/Volumes/NAME, or any path with a / in it), or the name of a volume as the list\n"
    "shows it, if no other volume has it.\n";

struct DeviceCommand {
  std::string_view name;
  int (*run)(const BlockDevice& device);
  std::string_view notFound;  ///< The complaint about an argument that names nothing.
  bool (*mayRun)();           ///< Else root is asked to run it.
};

constexpr std::string_view kNoDisk = "Unable to find disk for ";
constexpr std::array kDeviceCommands{
    DeviceCommand{"info", infoCommand, "Could not find disk: ", mayReadContents},
    DeviceCommand{"mount", mountCommand, kNoDisk, isRoot},
    DeviceCommand{"umount", unmountCommand, kNoDisk, isRoot},
    DeviceCommand{"unmount", unmountCommand, kNoDisk, isRoot},
};

// What root gets to see is made from what was understood, never passed through.
int haveDoneByRoot(const std::vector<std::string>& words) {
  const CapturedRun run = runAgainAsRoot(words, Capture::errors);
  printError(run.text);
  return run.status;
}

// Where nobody may clean up, the list is printed all the same.
int listDirty(const BlockDevices& devices) {
  try {
    return haveDoneByRoot({"list"});
  } catch (const ToolError& error) {
    printError(std::string(error.what()) + "\n");
    return listCommand(devices);
  }
}

int runList() {
  if (!mayReadContents()) {
    return haveDoneByRoot({"list"});
  }
  const BlockDevices devices = listDevices();
  if (areThereStaleVolumes(devices)) {
    if (!isRoot()) {
      return listDirty(devices);
    }
    removeStaleVolumes();
  }
  return listCommand(devices);
}

int runOnDevice(const DeviceCommand& command, std::string_view argument) {
  const auto device = findByArgument(std::string(argument));
  if (!device) {
    throw ToolError(std::string(command.notFound) + printable(argument));
  }
  if (!command.mayRun()) {
    return haveDoneByRoot({std::string(command.name), toText(device->identifier)});
  }
  return command.run(*device);
}

int runDiskutil(Arguments arguments) {
  if (arguments.empty()) {
    throw UsageError("diskutil: what is to be done is missing.");
  }
  const std::string_view name = arguments.front();
  if (name == "list" && arguments.size() == 1) {
    return runList();
  }
  for (const DeviceCommand& command : kDeviceCommands) {
    if (command.name == name && arguments.size() == 2) {
      return runOnDevice(command, arguments.back());
    }
  }
  throw UsageError("diskutil: \"" + printable(name) + "\" is not known, or not with " +
                   std::to_string(arguments.size() - 1) + " arguments.");
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  quorvel::distrustCaller();
  return quorvel::runTool(quorvel::kUsage, argc, argv, quorvel::runDiskutil);
}
