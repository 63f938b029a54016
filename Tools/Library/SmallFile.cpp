#include "Tools/Library/SmallFile.hpp"

#include <sys/sysmacros.h>

#include <cstdint>

#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Platform/Text/TakeUntil.hpp"

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

std::optional<dev_t> parseDeviceNumber(std::string_view text) {
  const auto major = parseNumber<unsigned>(takeUntil(text, ':'));
  const auto minor = parseNumber<unsigned>(text);
  return major && minor ? std::optional(makedev(*major, *minor)) : std::nullopt;
}

}  // namespace quorvel
