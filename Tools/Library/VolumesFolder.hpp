// /Volumes: one folder or symbolic link for each volume that is mounted.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/VolumesLock.hpp"

namespace quorvel {

/// Makes an empty folder /Volumes/NAME, or "NAME 1", "NAME 2" ... when that is taken, and returns
/// its path. An empty folder on which nothing is mounted gives way, as does a stale link. The name
/// is ours as long as the lock lives. Makes /Volumes if it is missing. Throws ToolError, also when
/// others than root may write to /Volumes. Root only.
[[nodiscard]] std::string makeVolumeFolder(VolumesLock& lock, std::string_view name);

/// The same with a symbolic link to `mountPoint`. The link ends in "/.", which tells it from
/// whatever a person puts there.
void makeVolumeLink(VolumesLock& lock, std::string_view name, const std::string& mountPoint);

/// Takes away what was made for a mount at `mountPoint`: the folder itself when it lies in /Volumes
/// and is empty, and links in /Volumes that point to it. Root only.
void removeVolumeEntries(VolumesLock& lock, const std::string& mountPoint);

/// Names of links in /Volumes to folders on which nothing is mounted any more. Anyone may ask.
[[nodiscard]] std::vector<std::string> staleVolumeLinks();

/// Removes them, but for those that another tool works on. Root only.
void removeStaleVolumeLinks(VolumesLock& lock);

}  // namespace quorvel
