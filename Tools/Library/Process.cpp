#include "Tools/Library/Process.hpp"

#include <filesystem>
#include <system_error>

#include "Tools/Library/SmallFile.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {

std::string processFolder(pid_t pid) { return "/proc/" + std::to_string(pid); }

std::string programOf(pid_t pid) {
  std::error_code error;
  const auto path = std::filesystem::read_symlink(processFolder(pid) + "/exe", error);
  return printable(error ? readAttribute((processFolder(pid) + "/comm").c_str()) : path.string());
}

}  // namespace quorvel
