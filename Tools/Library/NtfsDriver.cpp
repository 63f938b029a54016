#include "Tools/Library/NtfsDriver.hpp"

#include <algorithm>
#include <array>
#include <optional>

#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/CapturedRun.hpp"
#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kHibernated =
    "Windows is hibernated on it, or was shut down with fast start-up on. Start Windows, turn fast "
    "start-up off, shut Windows down completely (shutdown /s /t 0), and attach the disk again.";
constexpr std::string_view kUnclean =
    "It was not unmounted cleanly. Attach it to Windows, run chkdsk /f on it, and eject it there "
    "before you attach it here again.";
constexpr std::string_view kDamaged =
    "Its file system is damaged, or the disk is failing. Save what can be saved, attach it to "
    "Windows, and run chkdsk /f on it.";
constexpr std::string_view kNotNtfs =
    "It does not hold a valid NTFS file system. Check that this is the partition you mean "
    "(diskutil list); if it should be NTFS, run chkdsk /f on it in Windows.";
constexpr std::string_view kInUse =
    "Another program uses the device. Unmount it there (diskutil umount) and try again.";
constexpr std::string_view kProtected =
    "The disk is write-protected. Look for a switch on it or on its adapter, and attach it again.";
constexpr std::string_view kUnknown =
    "The driver's own words above say why. If they are about the file system, run chkdsk /f on it "
    "in Windows.";
constexpr std::string_view kSilent =
    "The driver ended without a word. Look whether the kernel says why (sudo dmesg), and try "
    "again.";

struct Sign {
  int status;              ///< ntfs-3g(8), "Exit codes"; 0 when only the words tell.
  std::string_view words;  ///< Empty when the status tells.
  std::string_view advice;
};

// ntfs-3g 2022.10.3 mounts such volumes with status 0, the hibernated ones read-only although
// writing was asked for: only its words tell why.
constexpr std::array kSigns{
    Sign{12, "", kNotNtfs},
    Sign{13, "", kDamaged},
    Sign{14, "", kHibernated},
    Sign{15, "", kUnclean},
    Sign{16, "", kInUse},
    Sign{0, "Windows is hibernated", kHibernated},
    Sign{0, "Hibernated non-system partition", kHibernated},
    Sign{0, "Metadata kept in Windows cache", kHibernated},
    Sign{0, "unclean file system", kUnclean},
    Sign{0, "wasn't safely", kUnclean},
    Sign{0, "Could not mount read-write", kProtected},
};

// Not lowntfs-3g of the same package, which lists and reads small files in a fraction of the time:
// when a program has taken a part of what it sent, it goes on behind the rest. A program with a
// small buffer, as musl's of 2 KiB, sees half of a folder, and copies half of it.
constexpr const char* kDriver = "/usr/bin/ntfs-3g";

// The driver quotes names from the disk.
std::string printableRows(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    result += printable(takeUntil(text, '\n')) + '\n';
  }
  return result;
}

// The folder is the driver's standard input: it reads nothing from there and, once mounted, puts
// /dev/null in its place, so that nothing keeps the folder open. Not ".": the driver makes a path
// of it, and whoever exchanges that path meanwhile has the volume mounted elsewhere.
std::optional<CapturedRun> runDriver(const std::string& node, int folder,
                                     const std::string& options) {
  return runCapturing({.path = kDriver,
                       .arguments = {"-o", options, node, "/proc/self/fd/0"},
                       .directory = {},
                       .standardInput = folder},
                      Capture::errors);
}

}  // namespace

std::string_view ntfsAdvice(int status, std::string_view errorText) {
  const auto sign = std::find_if(kSigns.begin(), kSigns.end(), [&](const Sign& candidate) {
    return candidate.words.empty() ? candidate.status == status
                                   : errorText.find(candidate.words) != std::string_view::npos;
  });
  if (sign != kSigns.end()) {
    return sign->advice;
  }
  return status == 0 ? std::string_view() : errorText.empty() ? kSilent : kUnknown;
}

std::string_view mountNtfs(const BlockDevice& device, int folder, const std::string& options,
                           uid_t owner, const std::string& failure) {
  makeDeviceNode(device);
  const auto run = runDriver(nodePath(device.identifier), folder, options);
  if (!run || run->status != 0) {
    removeDeviceNode(device.identifier);
  }
  if (!run) {
    throw ToolError(
        "The NTFS driver ntfs-3g cannot be started. Install the package ntfs-3g and try again.");
  }
  printError(printableRows(run->text));
  const std::string_view advice = ntfsAdvice(run->status, run->text);
  if (run->status != 0) {
    throw ToolError(failure + ' ' + std::string(advice));
  }
  linkDeviceNode(device, owner);
  return advice;
}

}  // namespace quorvel
