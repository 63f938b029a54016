// Mounting through the NTFS driver, ntfs-3g, and what it says of a volume that is not well.
#pragma once

#include <string>
#include <string_view>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// What is wrong with a volume that ntfs-3g ended with this status and these words on, and what to
/// do about it; the empty text for a sound one.
[[nodiscard]] std::string_view ntfsAdvice(int status, std::string_view errorText);

/// Mounts the device, under the name of its identifier, on the folder behind the descriptor (O_PATH
/// is enough), which cannot be exchanged for another one meanwhile, for `owner` (root: for nobody).
/// The driver goes on in the background and holds none of our descriptors; its own words are
/// printed as errors, those from the disk made printable. `options` is ntfs-3g's comma-separated
/// list. Returns what is wrong with the volume all the same and what to do about it, in whole
/// sentences; the empty text for a sound volume. Throws ToolError when ntfs-3g cannot be started,
/// and with `failure` and such advice when it refuses.
std::string_view mountNtfs(const BlockDevice& device, int folder, const std::string& options,
                           uid_t owner, const std::string& failure);

}  // namespace quorvel
