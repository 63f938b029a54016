// An open file or the end of a pipe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quorvel {

/// Owns a file descriptor and closes it at its end of life. Data are plain bytes in a
/// `std::string`. Calls on one handle come from one thread at a time.
class NSFileHandle {
 public:
  /// Takes over `fileDescriptor`; -1 stands for none, on which every operation does nothing.
  explicit NSFileHandle(int fileDescriptor) : fileDescriptor_(fileDescriptor) {}
  ~NSFileHandle() { closeFile(); }
  NSFileHandle(NSFileHandle&& other) noexcept
      : fileDescriptor_(std::exchange(other.fileDescriptor_, -1)) {}
  NSFileHandle& operator=(NSFileHandle&&) = delete;
  NSFileHandle(const NSFileHandle&) = delete;
  NSFileHandle& operator=(const NSFileHandle&) = delete;

  /// Opens an existing file for writing at its end, wherever that is by then; none when it cannot
  /// be opened. A symbolic link is not followed.
  static std::optional<NSFileHandle> fileHandleForWritingAtPath(const std::string& path);
  /// The process's standard output. It is borrowed: it stays open when the process ends.
  static NSFileHandle& fileHandleWithStandardOutput();

  /// Moves to the end of the file and returns that offset in bytes.
  std::uint64_t seekToEndOfFile();
  /// Writes the bytes; how many were written: not all where the disk is full or the reader left.
  std::size_t writeData(std::string_view data);
  /// Cuts the file to `offset` bytes, which is where a handle for writing goes on.
  void truncateFileAtOffset(std::uint64_t offset);
  void closeFile();

  [[nodiscard]] int fileDescriptor() const { return fileDescriptor_; }

 private:
  int fileDescriptor_;
};

/// Reads two handles to their ends at the same time, whatever their sizes, so that whoever writes
/// both is never stalled by the one that is read later. Blocks until both have ended. None, and the
/// rest is left unread, as soon as one of them gives more than `limit` bytes.
std::optional<std::pair<std::string, std::string>> readDataToEndOfFile(const NSFileHandle& first,
                                                                       const NSFileHandle& second,
                                                                       std::size_t limit);

}  // namespace quorvel
