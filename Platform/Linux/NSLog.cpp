#include "Platform/Foundation/NSLog.hpp"

#include <sys/uio.h>
#include <unistd.h>

#include <array>

namespace quorvel {

void NSLog(std::string_view message) {
  // One call and no memory: it may be memory that there is none of.
  // NOLINTBEGIN(*-const-cast): writev(2) reads only.
  const std::array line{
      iovec{.iov_base = const_cast<char*>(message.data()), .iov_len = message.size()},
      iovec{.iov_base = const_cast<char*>("\n"), .iov_len = 1}};
  // NOLINTEND(*-const-cast)
  static_cast<void>(::writev(STDERR_FILENO, line.data(), line.size()));
}

}  // namespace quorvel
