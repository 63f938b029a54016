// The block nodes /dev/diskN and /dev/diskNsM, which `df` then prints as the volume's source.
#pragma once

#include <sys/types.h>

#include <optional>

#include "Tools/Library/Identifier.hpp"

namespace quorvel {

/// Makes the node of a device, readable and writable by root only. A block node of that name with
/// another number is stale and replaced; anything else in its place is left alone and an error.
/// Throws ToolError.
void makeDeviceNode(const Identifier& identifier, dev_t number);

/// Removes the node if there is one. Whatever is no block node is left alone.
void removeDeviceNode(const Identifier& identifier);

/// The number of the node; none when there is no block node of that name.
[[nodiscard]] std::optional<dev_t> deviceNodeNumber(const Identifier& identifier);

}  // namespace quorvel
