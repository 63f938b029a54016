#include "Platform/Foundation/NSPathUtilities.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string_view>

#include "Platform/Linux/Support/UserFolders.hpp"

namespace quorvel {
namespace {

/// The path between the quotes of XDG_DESKTOP_DIR="$HOME/..." or ="/..."; empty where the line is
/// none of the two. A backslash takes the meaning from what follows it.
std::string desktopOf(std::string_view line) {
  constexpr std::string_view kKey = "XDG_DESKTOP_DIR=\"";
  constexpr std::string_view kHome = "$HOME/";
  if (!line.starts_with(kKey)) {
    return "";
  }
  line.remove_prefix(kKey.size());
  std::string path;
  if (line.starts_with(kHome)) {
    line.remove_prefix(kHome.size());
    path = homeFolder() + "/";
  } else if (!line.starts_with('/')) {
    return "";
  }
  for (std::size_t i = 0; i < line.size() && line[i] != '"'; ++i) {
    i += line[i] == '\\' && i + 1 < line.size() ? 1 : 0;
    path += line[i];
  }
  return path;
}

/// The folder that the desktop shows; empty where it is none of its own. (Those who want no desktop
/// have their home in its place.)
std::string shownDesktop() {
  std::ifstream settings(configurationFolder() + "/user-dirs.dirs");
  std::string shown;
  for (std::string line; std::getline(settings, line);) {
    const std::string path = desktopOf(line);
    shown = path.empty() ? shown : path;
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
