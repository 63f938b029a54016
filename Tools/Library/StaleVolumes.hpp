// What disks that were pulled without being unmounted leave behind.
#pragma once

#include <string>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"
#include "Tools/Library/MountTable.hpp"

namespace quorvel {

/// Remains of disks that are gone. Nothing of a disk that is there is ever among them.
struct StaleVolumes {
  std::vector<MountEntry> mounts;  ///< Of /dev/diskNsM, which is no such device any more.
  std::vector<Identifier> nodes;   ///< Nodes and links in /dev of disks that are gone.
  std::vector<std::string> links;  ///< Names of links in /Volumes that lead to no mount.

  [[nodiscard]] bool empty() const { return mounts.empty() && nodes.empty() && links.empty(); }
};

/// Looks for them; anyone may. `devices` must be the machine's present ones.
[[nodiscard]] StaleVolumes findStaleVolumes(const BlockDevices& devices);

/// Removes them: the mounts lazily (their driver has no device any more), and with each mount its
/// entries in /Volumes. Leaves alone what another tool works on. Root only.
void removeStaleVolumes(const StaleVolumes& stale);

}  // namespace quorvel
