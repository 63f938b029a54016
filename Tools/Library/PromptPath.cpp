#include "Tools/Library/PromptPath.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

#include <cerrno>

#include "Tools/Library/CapturedRun.hpp"

namespace quorvel {
namespace {

// Finds what the kernel has in memory, and asks no file system.
UniqueFd openKnown(const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<__u64>(O_PATH | O_CLOEXEC | flags);
  how.resolve = RESOLVE_CACHED;
  return UniqueFd(
      static_cast<int>(::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof(how))));
}

}  // namespace

UniqueFd openPromptly(const std::string& path, int flags) {
  UniqueFd found = openKnown(path, flags);
  if (!found && errno == EAGAIN) {
    // Another process asks the file systems on the way, and may hang in our place.
    runPromptly("/usr/bin/test", {"-e", path});
    found = openKnown(path, flags);
  }
  return found;
}

}  // namespace quorvel
