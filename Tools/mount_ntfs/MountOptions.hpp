// The comma-separated list behind -o.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

struct MountOptions {
  bool readOnly = false;
  bool noExec = false;
  bool noAccessTimes = false;
};

/// Adds what one list says to `options`; of contradicting words the last one counts. What Linux has
/// no counterpart for ("nobrowse") or what always holds here ("nosuid", "nodev") is dropped. Throws
/// UsageError, naming the word, for one that is not known.
void addMountOptions(std::string_view list, MountOptions& options);

/// The driver's options for a mount that belongs to this user and group, and that nobody
/// else may read; whatever the disk says of owners.
[[nodiscard]] std::string driverOptions(const MountOptions& options, unsigned user, unsigned group);

}  // namespace quorvel
