#include "Platform/Foundation/NSPathUtilities.hpp"

#include <sys/stat.h>

#include "Platform/Linux/Support/UserFolders.hpp"

namespace quorvel {

std::string NSHomeDirectory() {
  constexpr mode_t kFolderPermissions = 0755;
  std::string home = homeFolder();
  ::mkdir((home + "/Desktop").c_str(), kFolderPermissions);
  return home;
}

}  // namespace quorvel
