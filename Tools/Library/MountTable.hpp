// What is mounted where, as the kernel tells this process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// One row of /proc/self/mountinfo (proc(5)), its octal escapes decoded.
struct MountEntry {
  std::uint64_t id = 0;
  std::uint64_t parent = 0;
  dev_t device = 0;        ///< Of a fuseblk mount: the block device's own number.
  std::string point;       ///< Where it is mounted.
  std::string fileSystem;  ///< "fuseblk", "ext4"
  std::string source;      ///< The device node that it was mounted from.
  std::string options;     ///< The file system's own: "rw,user_id=0,group_id=0"
  bool readOnly = false;
};

/// The rows that `text` holds, in its order. Rows that are not complete are skipped.
[[nodiscard]] std::vector<MountEntry> parseMountTable(std::string_view text);

/// The mounts that this process sees now. Throws ToolError where /proc is not there.
[[nodiscard]] std::vector<MountEntry> readMountTable();

/// Those of one block device, in the order in which they were made.
[[nodiscard]] std::vector<MountEntry> mountsOf(dev_t device);

/// The number that the file system's option of this name has; none when it has none.
[[nodiscard]] std::optional<unsigned> numberOption(const MountEntry& mount, std::string_view name);

/// Unmounts this very mount (flags as for umount2) and never another one, whatever becomes of the
/// folders that lead to it meanwhile. An errno, 0 when it is done: ESTALE when the path leads to
/// another mount, be it that one lies on top of this one; EAGAIN when the file system that the path
/// leads through does not answer.
[[nodiscard]] int unmountEntry(const MountEntry& mount, int flags);

}  // namespace quorvel
