#include "Tools/Library/Folder.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>
#include <system_error>

namespace quorvel {

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

std::vector<std::string> folderEntries(int folder) {
  return folderEntries("/proc/self/fd/" + std::to_string(folder));
}

std::string linkTarget(const std::string& path) {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
  return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

}  // namespace quorvel
