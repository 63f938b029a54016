#include "Platform/Linux/Support/UserFolders.hpp"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace quorvel {
namespace {

std::string homeFromUserDatabase() {
  std::array<char, 4096> texts{};
  passwd entry{};
  passwd* found = nullptr;
  ::getpwuid_r(::getuid(), &entry, texts.data(), texts.size(), &found);
  return found == nullptr ? "/" : found->pw_dir;
}

/// The XDG base directory rules have a value ignored that is not absolute; so is such a home.
bool isAbsolute(const char* folder) { return folder != nullptr && *folder == '/'; }

}  // namespace

std::string homeFolder() {
  const char* const home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe): never set here.
  return isAbsolute(home) ? home : homeFromUserDatabase();
}

std::string settingsPath(std::string_view domain) {
  const char* const own = std::getenv("XDG_CONFIG_HOME");  // NOLINT(concurrency-mt-unsafe)
  const std::string folder = isAbsolute(own) ? own : homeFolder() + "/.config";
  return folder + "/" + std::string(domain) + ".plist";
}

}  // namespace quorvel
