// Mounting through the NTFS driver, ntfs-3g, and what it says of a volume that is not well.
#pragma once

#include <string>
#include <string_view>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// What is wrong with a volume and what to do about it, in whole sentences, as ntfs-3g's exit
/// status and its words on standard error tell; empty for a sound volume.
[[nodiscard]] std::string_view ntfsAdvice(int status, std::string_view errorText);

struct NtfsMountResult {
  bool mounted = false;
  std::string advice;      ///< As above.
  std::string driverText;  ///< The driver's own words, printable, each row ended by a line feed.
};

/// Mounts the device, under the name of its identifier, on the folder behind the descriptor (O_PATH
/// is enough), which cannot be exchanged for another one meanwhile, for `owner` (root: for nobody).
/// The driver goes on in the background and holds none of our descriptors. `options` is ntfs-3g's
/// comma-separated list. Throws ToolError when ntfs-3g is not installed.
[[nodiscard]] NtfsMountResult mountNtfs(const BlockDevice& device, int folder,
                                        const std::string& options, uid_t owner);

}  // namespace quorvel
