#include "Tools/Library/SmallFile.hpp"

#include <sys/sysmacros.h>

#include <algorithm>
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

std::string decodeEscapes(std::string_view text, std::string_view mark, std::size_t digits,
                          int base) {
  std::string result;
  while (!text.empty()) {
    unsigned char byte = 0;
    const std::string_view code = text.substr(std::min(mark.size(), text.size()), digits);
    const auto [end, error] = std::from_chars(code.data(), code.data() + code.size(), byte, base);
    const bool isByte = text.starts_with(mark) && error == std::errc() &&
                        static_cast<std::size_t>(end - code.data()) == digits;
    result += isByte ? static_cast<char>(byte) : text.front();
    text.remove_prefix(isByte ? mark.size() + digits : 1);
  }
  return result;
}

}  // namespace quorvel
