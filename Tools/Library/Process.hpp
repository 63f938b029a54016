// Other processes, as /proc tells of them.
#pragma once

#include <sys/types.h>

#include <string>

namespace quorvel {

/// "/proc/PID"
[[nodiscard]] std::string processFolder(pid_t pid);

/// The printable path of its executable, or its name; empty when there is no such process.
[[nodiscard]] std::string programOf(pid_t pid);

}  // namespace quorvel
