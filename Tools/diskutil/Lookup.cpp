#include "Tools/diskutil/Lookup.hpp"

#include <utility>

#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/diskutil/Commands.hpp"

namespace quorvel {
namespace {

// Root is asked about an identifier: the name, which anyone may have written, is compared here.
bool hasName(const BlockDevice& device, std::string_view name) {
  if (mayReadContents()) {
    const auto contents = readContents(device);
    return contents && contents->isVolume() && nameOf(*contents) == name;
  }
  return !device.hasPartitions &&
         describesVolume(
             runAgainAsRoot({"info", toText(device.identifier)}, Capture::everything).text, name);
}

std::optional<BlockDevice> findByName(BlockDevices devices, std::string_view name) {
  std::erase_if(devices, [name](const BlockDevice& device) { return !hasName(device, name); });
  if (devices.size() > 1) {
    std::string identifiers;
    for (const BlockDevice& device : devices) {
      identifiers += (identifiers.empty() ? "" : ", ") + toText(device.identifier);
    }
    throw ToolError("Several volumes have the name " + printable(name) + ": " + identifiers +
                    ". Use the identifier.");
  }
  return devices.empty() ? std::nullopt : std::optional(devices.front());
}

}  // namespace

std::optional<BlockDevice> findByArgument(const std::string& argument) {
  BlockDevices devices = listDevices();
  if (const BlockDevice* const found = findDevice(devices, argument)) {
    return *found;
  }
  const bool mayBeName =
      !argument.empty() && argument.find('/') == std::string::npos && !parseIdentifier(argument);
  return mayBeName ? findByName(std::move(devices), argument) : std::nullopt;
}

}  // namespace quorvel
