#include "Tools/Library/SystemFiles.hpp"

#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/ForeignText.hpp"

namespace quorvel {

std::optional<std::string> readSmallFile(const char* path, int directory) {
  const UniqueFd file(::openat(directory, path, O_RDONLY | O_CLOEXEC));
  return file ? readAll(file.get(), SIZE_MAX) : std::nullopt;
}

std::string readAttribute(const char* path, int directory) {
  std::string content = readSmallFile(path, directory).value_or("");
  if (content.ends_with('\n')) {
    content.pop_back();
  }
  return content;
}

std::vector<std::string> folderEntries(const std::string& path) {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entry(path, error);
  while (entry != std::filesystem::directory_iterator()) {
    names.push_back(entry->path().filename());
    entry.increment(error);
  }
  return names;
}

std::string linkTarget(const std::string& path) {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
  return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

// Nothing is asked for: these are told all the same.
struct statx placeOf(const char* path, int directory, int flags) {
  struct statx place {};
  place.stx_mnt_id = UINT64_MAX;
  ::statx(directory, path, flags | AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, 0, &place);
  return place;
}

std::string programOf(pid_t pid) {
  const std::string process = "/proc/" + std::to_string(pid);
  const std::string path = linkTarget(process + "/exe");
  return printable(path.empty() ? readAttribute((process + "/comm").c_str()) : path);
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
