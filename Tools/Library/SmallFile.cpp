#include "Tools/Library/SmallFile.hpp"

#include <cstdint>

#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

std::optional<std::string> readSmallFile(const char* path, int directory) {
  const UniqueFd file(::openat(directory, path, O_RDONLY | O_CLOEXEC));
  if (!file) {
    return std::nullopt;
  }
  return readAll(file.get(), SIZE_MAX);
}

std::string readAttribute(const char* path, int directory) {
  std::string content = readSmallFile(path, directory).value_or("");
  if (content.ends_with('\n')) {
    content.pop_back();
  }
  return content;
}

}  // namespace quorvel
