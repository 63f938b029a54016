// diskutil: the machine's disks and volumes, listed, described, mounted and unmounted.

#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
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
    "mount point (/Volumes/NAME, or any other absolute path), or the name of a volume as the list\n"
    "shows it, if no other volume has it.\n";

struct DeviceCommand {
  std::string_view name;
  int (*run)(std::string_view argument);
};

constexpr std::array kDeviceCommands{
    DeviceCommand{"info", infoCommand},
    DeviceCommand{"mount", mountCommand},
    DeviceCommand{"umount", unmountCommand},
    DeviceCommand{"unmount", unmountCommand},
};

// What root gets to see is made from what was understood, never passed through.
int runAsRoot(const std::string& command, const std::optional<Identifier>& identifier) {
  std::vector<std::string> arguments{command};
  if (identifier) {
    arguments.push_back(toText(*identifier));
  }
  return runAgainAsRoot(arguments).value_or(EXIT_FAILURE);
}

int runList() {
  try {
    return listCommand();
  } catch (const NeedsRoot&) {
    if (isRoot()) {
      throw;
    }
    return runAsRoot("list", std::nullopt);
  }
}

int runOnDevice(const DeviceCommand& command, std::string_view argument) {
  try {
    return command.run(argument);
  } catch (const NeedsRoot&) {
    if (isRoot()) {
      throw;
    }
    const std::vector<Disk> disks = listDisks();
    return runAsRoot(std::string(command.name), requireDevice(disks, argument).device->identifier);
  }
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
      return runOnDevice(command, resolveArgument(arguments.back()));
    }
  }
  throw UsageError("diskutil: \"" + printable(name) + "\" is not known, or not with " +
                   std::to_string(arguments.size() - 1) + " arguments.");
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  quorvel::distrustCaller();
  const quorvel::Arguments arguments(argv, static_cast<std::size_t>(argc));
  return quorvel::runTool(quorvel::kUsage, arguments.subspan(1), quorvel::runDiskutil);
}
