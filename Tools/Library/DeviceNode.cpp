#include "Tools/Library/DeviceNode.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {

void makeDeviceNode(const Identifier& identifier, dev_t number) {
  const std::string path = nodePath(identifier);
  if (deviceNodeNumber(identifier) == number) {
    return;
  }
  removeDeviceNode(identifier);
  if (::mknod(path.c_str(), S_IFBLK | S_IRUSR | S_IWUSR, number) != 0) {
    throw ToolError(errorText("The device node " + path + " cannot be made") +
                    ". If something else has that name, move it away; then try again.");
  }
}

void removeDeviceNode(const Identifier& identifier) {
  if (deviceNodeNumber(identifier)) {
    ::unlink(nodePath(identifier).c_str());
  }
}

std::optional<dev_t> deviceNodeNumber(const Identifier& identifier) {
  struct stat status {};
  const bool found = ::lstat(nodePath(identifier).c_str(), &status) == 0;
  return found && S_ISBLK(status.st_mode) ? std::optional(status.st_rdev) : std::nullopt;
}

}  // namespace quorvel
