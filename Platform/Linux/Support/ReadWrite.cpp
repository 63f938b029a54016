#include "Platform/Linux/Support/ReadWrite.hpp"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace quorvel {

bool readSome(int descriptor, std::string& content) {
  std::array<char, 16384> block;  // NOLINT(*-member-init): filled by read
  errno = 0;
  const ssize_t count = ::read(descriptor, block.data(), block.size());
  content.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  return count > 0 || errno == EINTR;
}

std::optional<std::string> readAll(int descriptor, std::size_t limit) {
  std::string content;
  while (readSome(descriptor, content)) {
    if (content.size() > limit) {
      errno = EFBIG;
      return std::nullopt;
    }
  }
  return errno == 0 ? std::optional(std::move(content)) : std::nullopt;
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
