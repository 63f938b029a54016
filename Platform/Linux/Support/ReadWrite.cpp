#include "Platform/Linux/Support/ReadWrite.hpp"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace quorvel {

std::optional<std::string> readAll(int descriptor, std::size_t limit) {
  std::string content;
  std::array<char, 4096> block;  // NOLINT(*-member-init): filled by read
  while (content.size() <= limit) {
    const ssize_t count = ::read(descriptor, block.data(), block.size());
    if (count == 0) {
      return content;
    }
    if (count < 0 && errno != EINTR) {
      return std::nullopt;
    }
    content.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  errno = EFBIG;
  return std::nullopt;
}

std::size_t writeAll(int descriptor, std::string_view bytes) {
  const std::size_t size = bytes.size();
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EAGAIN) {
      pollfd room{.fd = descriptor, .events = POLLOUT, .revents = 0};
      ::poll(&room, 1, -1);
    } else if (count < 0 && errno != EINTR) {
      break;
    }
    bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  return size - bytes.size();
}

}  // namespace quorvel
