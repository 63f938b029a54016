#include "Platform/Foundation/NSPathUtilities.hpp"

#include <pwd.h>
#include <sys/stat.h>
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

std::string homeDirectory() {
  const char* const home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe): never set here.
  return home != nullptr && *home == '/' ? home : homeFromUserDatabase();
}

}  // namespace

std::string NSHomeDirectory() {
  constexpr mode_t kFolderPermissions = 0755;
  std::string home = homeDirectory();
  ::mkdir((home + "/Desktop").c_str(), kFolderPermissions);
  return home;
}

}  // namespace quorvel
