#include "Tools/Library/Process.hpp"

#include "Tools/Library/Folder.hpp"
#include "Tools/Library/SmallFile.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {

std::string processFolder(pid_t pid) { return "/proc/" + std::to_string(pid); }

std::string programOf(pid_t pid) {
  const std::string path = linkTarget(processFolder(pid) + "/exe");
  return printable(path.empty() ? readAttribute((processFolder(pid) + "/comm").c_str()) : path);
}

}  // namespace quorvel
