// Mounting through the NTFS driver, ntfs-3g, and what it says of a volume that is not well.
#pragma once

#include <string>
#include <string_view>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// Why a volume cannot be written to, or not be mounted at all, as ntfs-3g's words tell.
enum class NtfsCondition { sound, hibernated, unclean, damaged, notNtfs, inUse, unknown };

/// `errorText` is what ntfs-3g wrote on standard error; `status` its exit status.
[[nodiscard]] NtfsCondition ntfsConditionOf(int status, std::string_view errorText);

/// What the condition means and what to do about it, in whole sentences. Empty for a sound volume.
[[nodiscard]] std::string adviceFor(NtfsCondition condition);

struct NtfsMountResult {
  bool mounted = false;
  NtfsCondition condition = NtfsCondition::sound;
  std::string driverText;  ///< The driver's own words, printable, each row ended by a line feed.
};

/// Mounts the device, under the name of its identifier, on the folder behind the descriptor (O_PATH
/// is enough), which cannot be exchanged for another one meanwhile, for `owner` (root: for nobody).
/// The driver goes on in the background and holds none of our descriptors. `options` is ntfs-3g's
/// comma-separated list. Throws ToolError when ntfs-3g is not installed.
[[nodiscard]] NtfsMountResult mountNtfs(const BlockDevice& device, int folder,
                                        const std::string& options, uid_t owner);

}  // namespace quorvel
