#include "Platform/Foundation/NSProcessInfo.hpp"

#include <fstream>
#include <string>

namespace quorvel {

// proc(5): the option "hidepid" is shown unless it is off. The last mount covers those before it.
bool NSProcessInfo::areCommandsReadableByAll() {
  std::ifstream table("/proc/self/mounts");
  bool areReadable = false;
  for (std::string row; std::getline(table, row);) {
    if (row.find(" /proc proc ") != std::string::npos) {
      areReadable = row.find("hidepid=") == std::string::npos;
    }
  }
  return areReadable;
}

}  // namespace quorvel
