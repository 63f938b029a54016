// Who keeps a volume busy.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace quorvel {

/// A process that works on a volume: its working folder, its root, its program, an open file or a
/// mapped file lies there.
struct Dissenter {
  pid_t pid = 0;
  std::string program;  ///< Printable path of its executable, or its name.
  pid_t parent = 0;
  std::string parentProgram;
};

/// The processes that use a file system with this device number, by process number. Sees every
/// process as root, else one's own. Never waits for the volume's driver, and looks for two seconds
/// at most.
[[nodiscard]] std::vector<Dissenter> findDissenters(dev_t device);

}  // namespace quorvel
