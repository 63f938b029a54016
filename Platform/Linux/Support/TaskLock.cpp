#include "Platform/Linux/Support/TaskLock.hpp"

#include <fcntl.h>

#include "Platform/Foundation/NSPathUtilities.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

struct flock wholeFile(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

UniqueFd openLock() {
  UniqueFd home(::open(NSHomeDirectory().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct flock shared = wholeFile(F_RDLCK);
  ::fcntl(home.get(), F_OFD_SETLK, &shared);
  return home;
}

}  // namespace

int taskLock() {
  static const auto* const lock = new UniqueFd(openLock());  // Immortal: held to the very end.
  return lock->get();
}

bool hasForeignTasks() {
  struct flock exclusive = wholeFile(F_WRLCK);
  return ::fcntl(taskLock(), F_OFD_GETLK, &exclusive) == 0 && exclusive.l_type != F_UNLCK;
}

}  // namespace quorvel
