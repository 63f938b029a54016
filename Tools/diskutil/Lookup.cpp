#include "Tools/diskutil/Lookup.hpp"

#include <optional>
#include <string>

#include "Tools/Library/Contents.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/diskutil/Commands.hpp"

namespace quorvel {
namespace {

// Root is asked about an identifier: the name, which anyone may have written, is compared here.
bool hasName(const BlockDevice& device, std::string_view name) {
  if (isRoot() || isUdevRunning()) {
    const auto contents = readContents(device);
    return contents && contents->isVolume() && nameOf(*contents) == name;
  }
  return !device.hasPartitions &&
         describesVolume(
             runAgainAsRoot({"info", toText(device.identifier)}, Capture::everything).text, name);
}

const BlockDevice* findByName(const BlockDevices& devices, std::string_view name) {
  const BlockDevice* found = nullptr;
  std::string identifiers;
  for (const BlockDevice& device : devices) {
    if (hasName(device, name)) {
      identifiers += (found == nullptr ? "" : ", ") + toText(device.identifier);
      found = found == nullptr ? &device : found;
    }
  }
  if (found != nullptr && identifiers != toText(found->identifier)) {
    throw ToolError("Several volumes have the name " + printable(name) + ": " + identifiers +
                    ". Use the identifier.");
  }
  return found;
}

}  // namespace

const BlockDevice* findByArgument(const BlockDevices& devices, const std::string& argument) {
  const BlockDevice* const found = findDevice(devices, argument);
  const bool mayBeName =
      !argument.empty() && argument.find('/') == std::string::npos && !parseIdentifier(argument);
  return found == nullptr && mayBeName ? findByName(devices, argument) : found;
}

}  // namespace quorvel
