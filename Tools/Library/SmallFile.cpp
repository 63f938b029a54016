#include "Tools/Library/SmallFile.hpp"

#include <unistd.h>

#include <array>
#include <cerrno>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

std::optional<std::string> readSmallFile(const char* path, int directory) {
  const UniqueFd file(::openat(directory, path, O_RDONLY | O_CLOEXEC));
  if (!file) {
    return std::nullopt;
  }
  std::string content;
  std::array<char, 4096> block;  // NOLINT(*-member-init): filled by read
  while (true) {
    const ssize_t count = ::read(file.get(), block.data(), block.size());
    if (count > 0) {
      content.append(block.data(), static_cast<std::size_t>(count));
    } else if (count == 0) {
      return content;
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
}

std::string readAttribute(const char* path, int directory) {
  std::string content = readSmallFile(path, directory).value_or("");
  if (content.ends_with('\n')) {
    content.pop_back();
  }
  return content;
}

}  // namespace quorvel
