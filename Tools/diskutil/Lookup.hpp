// From what a person typed to a device.
#pragma once

#include <optional>
#include <string>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// The device, of those that there are now, that an argument names: by its identifier ("disk3s1")
/// or node, and then never anything else, whatever a volume is called; by the kernel's node or a
/// link to it; by a mount point, symbolic links followed; or by the name of a volume, exactly as
/// the list shows it. None when it names nothing. Throws ToolError when several volumes have the
/// name, or when names need root and sudo refuses.
[[nodiscard]] std::optional<BlockDevice> findByArgument(const std::string& argument);

}  // namespace quorvel
