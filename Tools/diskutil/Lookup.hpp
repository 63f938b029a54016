// From what a person typed to a device.
#pragma once

#include <string>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// The device that an argument names: by its identifier ("disk3s1") or node, and then never
/// anything else, whatever a volume is called; by the kernel's node or a link to it; by a mount
/// point, symbolic links followed; or by the name of a volume, exactly as the list shows it. Null
/// when it names nothing; the result points into `devices`. Throws ToolError when several volumes
/// have the name, or when names need root and sudo refuses.
[[nodiscard]] const BlockDevice* findByArgument(const BlockDevices& devices,
                                                const std::string& argument);

}  // namespace quorvel
