#include "Platform/Foundation/NSPathUtilities.hpp"

#include <sys/stat.h>
#include <systemd/sd-path.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "Platform/Linux/Support/Owned.hpp"
#include "Platform/Linux/Support/UserFolders.hpp"

namespace quorvel {
namespace {

/// The folder that the desktop shows; empty where it is none of its own. (Those who want no desktop
/// have their home in its place.)
std::string shownDesktop() {
  char* found = nullptr;
  ::sd_path_lookup(SD_PATH_USER_DESKTOP, nullptr, &found);
  const Owned<char, std::free> owner(found);
  std::string shown = found == nullptr ? "" : found;
  for (std::size_t at = 0; (at = shown.find('\\', at)) != std::string::npos; ++at) {
    shown.erase(at, 1);  // It takes the meaning from what follows it.
  }
  std::error_code problem;
  return std::filesystem::is_directory(shown, problem) &&
                 !std::filesystem::equivalent(shown, homeFolder(), problem)
             ? shown
             : "";
}

void makeDesktop(const std::string& path) {
  constexpr mode_t kFolderPermissions = 0755;
  const std::string shown = shownDesktop();
  if (shown.empty() || ::symlink(shown.c_str(), path.c_str()) != 0) {
    ::mkdir(path.c_str(), kFolderPermissions);
  }
}

}  // namespace

std::string NSHomeDirectory() { return homeFolder(); }

std::string NSDesktopDirectory() {
  std::string desktop = homeFolder() + "/Desktop";
  struct stat status {};
  if (::lstat(desktop.c_str(), &status) != 0) {
    makeDesktop(desktop);
  }
  return desktop;
}

}  // namespace quorvel
