#include "Platform/Foundation/NSFileHandle.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "Platform/Linux/Support/ReadWrite.hpp"

namespace quorvel {
namespace {

/// The reading end of one stream and what has come out of it so far.
struct Stream {
  pollfd source;
  std::string data;

  explicit Stream(const NSFileHandle& handle)
      : source{.fd = handle.fileDescriptor(), .events = POLLIN, .revents = 0} {}

  [[nodiscard]] bool isOpen() const { return source.fd >= 0; }

  void readSome() {
    std::array<char, 65536> block;  // NOLINT(*-member-init): every byte used is read before.
    const ssize_t count = ::read(source.fd, block.data(), block.size());
    if (count > 0) {
      data.append(block.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
      source.fd = -1;  // poll(2) passes over negative descriptors.
    }
  }
};

}  // namespace

std::optional<NSFileHandle> NSFileHandle::fileHandleForWritingAtPath(const std::string& path) {
  NSFileHandle handle(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW));
  if (handle.fileDescriptor_ < 0) {
    return std::nullopt;
  }
  return handle;
}

NSFileHandle& NSFileHandle::fileHandleWithStandardOutput() {
  static auto* const handle = new NSFileHandle(STDOUT_FILENO);  // Immortal: never closed.
  return *handle;
}

std::uint64_t NSFileHandle::seekToEndOfFile() {
  const off_t offset = ::lseek(fileDescriptor_, 0, SEEK_END);
  return offset < 0 ? 0 : static_cast<std::uint64_t>(offset);
}

std::size_t NSFileHandle::writeData(std::string_view data) {
  return writeAll(fileDescriptor_, data);
}

void NSFileHandle::truncateFileAtOffset(std::uint64_t offset) {
  [[maybe_unused]] const int result = ::ftruncate(fileDescriptor_, static_cast<off_t>(offset));
}

void NSFileHandle::closeFile() {
  if (fileDescriptor_ >= 0) {
    ::close(std::exchange(fileDescriptor_, -1));
  }
}

std::optional<std::pair<std::string, std::string>> readDataToEndOfFile(const NSFileHandle& first,
                                                                       const NSFileHandle& second,
                                                                       std::size_t limit) {
  std::array<Stream, 2> streams{Stream(first), Stream(second)};
  while (streams[0].isOpen() || streams[1].isOpen()) {
    std::array<pollfd, 2> sources{streams[0].source, streams[1].source};
    ::poll(sources.data(), sources.size(), -1);
    for (std::size_t i = 0; i < streams.size(); ++i) {
      if (streams.at(i).isOpen() && sources.at(i).revents != 0) {
        streams.at(i).readSome();
      }
      if (streams.at(i).data.size() > limit) {
        return std::nullopt;
      }
    }
  }
  return std::pair(std::move(streams[0].data), std::move(streams[1].data));
}

}  // namespace quorvel
