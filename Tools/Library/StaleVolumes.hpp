// What disks that were pulled without being unmounted leave behind: mounts of /dev/diskNsM, which
// is no such device any more, nodes and links of that name, and links in /Volumes that lead to no
// mount.
#pragma once

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// Whether there seems to be any of it, of disks that are none of these; anyone may ask.
[[nodiscard]] bool areThereStaleVolumes(const BlockDevices& devices);

/// Removes it: the mounts lazily (their driver has no device any more), and with each mount its
/// entries in /Volumes. Leaves alone what another tool works on, and what is of a disk that is
/// there by now. Root only.
void removeStaleVolumes();

}  // namespace quorvel
