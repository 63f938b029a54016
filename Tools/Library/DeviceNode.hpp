// The names /dev/diskN and /dev/diskNsM, which `df` then prints as the volume's source.
#pragma once

#include <sys/types.h>

#include <optional>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/Identifier.hpp"

namespace quorvel {

/// Makes a block node to mount the device through, readable and writable by root only. A node or a
/// link of that name is replaced; anything else in its place is left alone and an error. Throws
/// ToolError.
void makeDeviceNode(const BlockDevice& device);

/// Replaces the node, once it is mounted, by a symbolic link to the kernel's own, by which others
/// find the mount. The link is owned by whom the mount is for.
void linkDeviceNode(const BlockDevice& device, uid_t owner);

/// Removes the node or link if there is one. Anything else is left alone.
void removeDeviceNode(const Identifier& identifier);

/// The number of the device that the name leads to, 0 if there is none any more; none when there is
/// neither a node nor a link of that name.
[[nodiscard]] std::optional<dev_t> deviceNodeNumber(const Identifier& identifier);

/// Whom the mount through this name is for: the link's owner, root if there is no link.
[[nodiscard]] uid_t deviceNodeOwner(const Identifier& identifier);

}  // namespace quorvel
