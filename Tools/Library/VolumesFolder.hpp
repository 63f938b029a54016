// /Volumes: one folder or symbolic link for each volume that is mounted.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

inline constexpr std::string_view kVolumesFolder = "/Volumes";

/// Makes an empty folder /Volumes/NAME, or "NAME 1", "NAME 2" ... when that is taken, and returns
/// its path. A link that leads nowhere is removed and its name taken. Makes /Volumes if it is
/// missing. Throws ToolError, also when others than root may write to /Volumes. Root only.
[[nodiscard]] std::string makeVolumeFolder(std::string_view name);

/// The same with a symbolic link to the folder `target`. Returns the link's path.
std::string makeVolumeLink(std::string_view name, const std::string& target);

/// Takes away what was made for a mount at `mountPoint`: the folder itself when it lies in /Volumes
/// and is empty, and root's links in /Volumes that point to it. Root only.
void removeVolumeEntries(const std::string& mountPoint);

/// Root's symbolic links in /Volumes whose target, a folder of the link's own name ("NAME" for
/// "NAME" and "NAME 2"), is gone. Their paths. Anyone may ask.
[[nodiscard]] std::vector<std::string> deadVolumeLinks();

}  // namespace quorvel
