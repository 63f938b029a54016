#include "Platform/Foundation/NSProcessInfo.hpp"

#include <fcntl.h>

#include <cstdint>

#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

// proc(5): the option "hidepid" is shown unless it is off. The last mount covers those before it.
bool NSProcessInfo::areCommandsReadableByAll() {
  const UniqueFd file(::open("/proc/self/mounts", O_RDONLY | O_CLOEXEC));
  const std::string table = readAll(file.get(), SIZE_MAX).value_or("");
  const std::size_t last = table.rfind(" /proc proc ");
  return last != std::string::npos && table.find('\n', last) < table.find("hidepid=", last);
}

}  // namespace quorvel
