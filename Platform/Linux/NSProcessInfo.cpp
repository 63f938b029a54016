#include "Platform/Foundation/NSProcessInfo.hpp"

#include <mntent.h>

#include <array>
#include <cstdio>
#include <string_view>

#include "Platform/Linux/Support/Owned.hpp"

namespace quorvel {

// proc(5): the option "hidepid" is shown unless it is off. The last mount covers those before it.
bool NSProcessInfo::areCommandsReadableByAll() {
  const Owned<FILE, ::endmntent> table(::setmntent("/proc/self/mounts", "re"));
  bool areReadable = false;
  mntent row{};
  std::array<char, 4096> texts{};
  while (table && ::getmntent_r(table.get(), &row, texts.data(), texts.size()) != nullptr) {
    if (std::string_view(row.mnt_dir) == "/proc") {
      areReadable = ::hasmntopt(&row, "hidepid") == nullptr;
    }
  }
  return areReadable;
}

}  // namespace quorvel
