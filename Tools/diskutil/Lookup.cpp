#include "Tools/diskutil/Lookup.hpp"

#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {

std::optional<FoundDevice> findByArgument(const std::vector<Disk>& disks,
                                          std::string_view argument) {
  const auto identifier = parseIdentifierOrNode(argument);
  return identifier ? findDevice(disks, *identifier) : std::nullopt;
}

FoundDevice requireDevice(const std::vector<Disk>& disks, std::string_view argument) {
  const auto found = findByArgument(disks, argument);
  if (!found) {
    throw ToolError("Unable to find disk for " + printable(argument));
  }
  return *found;
}

}  // namespace quorvel
