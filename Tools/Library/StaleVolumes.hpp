// What disks that were pulled without being unmounted leave behind: mounts of /dev/diskNsM, which
// is no such device any more, nodes and links of that name, and links in /Volumes that lead to no
// mount.
#pragma once

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// Whether there is any of it; anyone may ask. `devices` must be the machine's present ones:
/// nothing of a disk that is there ever counts.
[[nodiscard]] bool areThereStaleVolumes(const BlockDevices& devices);

/// Removes it: the mounts lazily (their driver has no device any more), and with each mount its
/// entries in /Volumes. Leaves alone what another tool works on. Root only.
void removeStaleVolumes(const BlockDevices& devices);

}  // namespace quorvel
