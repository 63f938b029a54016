// Who keeps a volume busy.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>

namespace quorvel {

/// The processes that use a file system with this device number, and their programs (see
/// programOf): a working folder, a root, a program, an open file or a mapped file lies there. Sees
/// every process as root, else one's own. Never waits for the volume's driver, and looks for two
/// seconds at most.
[[nodiscard]] std::map<pid_t, std::string> findDissenters(dev_t device);

}  // namespace quorvel
