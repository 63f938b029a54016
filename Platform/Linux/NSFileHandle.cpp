#include "Platform/Foundation/NSFileHandle.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>

#include "Platform/Linux/Support/ReadWrite.hpp"

namespace quorvel {

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
  std::pair<std::string, std::string> data;
  std::array<pollfd, 2> ends{{{.fd = first.fileDescriptor(), .events = POLLIN, .revents = 0},
                              {.fd = second.fileDescriptor(), .events = POLLIN, .revents = 0}}};
  while (ends[0].fd >= 0 || ends[1].fd >= 0) {
    const bool isReady = ::poll(ends.data(), ends.size(), -1) > 0;
    for (pollfd& end : ends) {
      std::string& read = &end == ends.data() ? data.first : data.second;
      if (isReady && end.revents != 0 && !readSome(end.fd, read)) {
        end.fd = -1;  // poll(2) passes over negative descriptors.
      }
      if (read.size() > limit) {
        return std::nullopt;
      }
    }
  }
  return data;
}

}  // namespace quorvel
