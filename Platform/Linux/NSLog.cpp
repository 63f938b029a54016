#include "Platform/Foundation/NSLog.hpp"

#include <unistd.h>

#include <string>

namespace quorvel {

void NSLog(std::string_view message) {
  const std::string line = std::string(message) + "\n";
  static_cast<void>(::write(STDERR_FILENO, line.data(), line.size()));
}

}  // namespace quorvel
