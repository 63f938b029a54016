#include "Tools/diskutil/Dissenters.hpp"

#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

#include "Tools/Library/SystemFiles.hpp"

namespace quorvel {
namespace {

bool liesOn(dev_t device, const std::string& path) {
  const struct statx place = placeOf(path.c_str());
  return makedev(place.stx_dev_major, place.stx_dev_minor) == device;
}

bool hasOpenFile(dev_t device, const std::string& process) {
  const std::string folder = process + "/fd";
  const auto names = folderEntries(folder);
  return std::any_of(names.begin(), names.end(),
                     [&](const std::string& name) { return liesOn(device, folder + "/" + name); });
}

// proc(5): address, permissions, offset, then the device as two hexadecimal numbers.
bool hasMapping(dev_t device, const std::string& process) {
  std::array<char, 32> pattern{};
  static_cast<void>(
      std::snprintf(pattern.data(), pattern.size(), " %02x:%02x ", major(device), minor(device)));
  const auto maps = readSmallFile((process + "/maps").c_str());
  return maps && maps->find(pattern.data()) != std::string::npos;
}

bool uses(dev_t device, const std::string& process) {
  return liesOn(device, process + "/cwd") || liesOn(device, process + "/root") ||
         liesOn(device, process + "/exe") || hasOpenFile(device, process) ||
         hasMapping(device, process);
}

}  // namespace

std::map<pid_t, std::string> findDissenters(dev_t device) {
  constexpr std::chrono::seconds kBudget(2);
  const auto end = std::chrono::steady_clock::now() + kBudget;
  std::map<pid_t, std::string> found;
  for (const std::string& name : folderEntries("/proc")) {
    if (std::chrono::steady_clock::now() > end) {
      break;
    }
    const auto pid = parseNumber<pid_t>(name);
    if (pid && *pid != ::getpid() && uses(device, "/proc/" + name)) {
      found[*pid] = programOf(*pid);
    }
  }
  return found;
}

}  // namespace quorvel
