#include "Tools/Library/NtfsDriver.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/CapturedRun.hpp"
#include "Tools/Library/DeviceNode.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

struct Status {
  int status;
  NtfsCondition condition;
};

// ntfs-3g(8), "Exit codes".
constexpr std::array kStatuses{
    Status{12, NtfsCondition::notNtfs},    Status{13, NtfsCondition::damaged},
    Status{14, NtfsCondition::hibernated}, Status{15, NtfsCondition::unclean},
    Status{16, NtfsCondition::inUse},
};

struct Sign {
  std::string_view words;
  NtfsCondition condition;
};

// ntfs-3g 2022.10.3 mounts such volumes with status 0, the hibernated ones read-only although
// writing was asked for: only its words tell why.
constexpr std::array kSigns{
    Sign{"Windows is hibernated", NtfsCondition::hibernated},
    Sign{"Hibernated non-system partition", NtfsCondition::hibernated},
    Sign{"Metadata kept in Windows cache", NtfsCondition::hibernated},
    Sign{"unclean file system", NtfsCondition::unclean},
    Sign{"wasn't safely", NtfsCondition::unclean},
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

}  // namespace

NtfsCondition ntfsConditionOf(int status, std::string_view errorText) {
  for (const Status& known : kStatuses) {
    if (known.status == status) {
      return known.condition;
    }
  }
  const auto sign = std::find_if(kSigns.begin(), kSigns.end(), [errorText](const Sign& candidate) {
    return errorText.find(candidate.words) != std::string_view::npos;
  });
  if (sign != kSigns.end()) {
    return sign->condition;
  }
  return status == 0 ? NtfsCondition::sound : NtfsCondition::unknown;
}

std::string adviceFor(NtfsCondition condition) {
  switch (condition) {
    case NtfsCondition::sound:
      return {};
    case NtfsCondition::hibernated:
      return "Windows is hibernated on it, or was shut down with fast start-up on. Start Windows, "
             "turn fast start-up off, shut Windows down completely (shutdown /s /t 0), and attach "
             "the disk again.";
    case NtfsCondition::unclean:
      return "It was not unmounted cleanly. Attach it to Windows, run chkdsk /f on it, and eject "
             "it "
             "there before you attach it here again.";
    case NtfsCondition::damaged:
      return "Its file system is damaged, or the disk is failing. Save what can be saved, attach "
             "it to Windows, and run chkdsk /f on it.";
    case NtfsCondition::notNtfs:
      return "It does not hold a valid NTFS file system. Check that this is the partition you mean "
             "(diskutil list); if it should be NTFS, run chkdsk /f on it in Windows.";
    case NtfsCondition::inUse:
      return "Another program uses the device. Unmount it there (diskutil umount) and try again.";
    case NtfsCondition::unknown:
      return "The driver's own words above say why.";
  }
  return {};
}

NtfsMountResult mountNtfs(const BlockDevice& device, int folder, const std::string& options,
                          uid_t owner) {
  // The folder is the driver's standard input: it reads nothing from there and, once mounted, puts
  // /dev/null in its place, so that nothing keeps the folder open. Not ".": the driver makes a path
  // of it, and whoever exchanges that path meanwhile has the volume mounted elsewhere.
  if (::access(kDriver, X_OK) != 0) {
    throw ToolError(
        "The NTFS driver ntfs-3g is not installed. Install the package ntfs-3g and try again.");
  }
  makeDeviceNode(device);
  const auto run =
      runCapturing({.path = kDriver,
                    .arguments = {"-o", options, nodePath(device.identifier), "/proc/self/fd/0"},
                    .directory = {},
                    .standardInput = folder},
                   Capture::errors);
  if (!run || run->status != 0) {
    removeDeviceNode(device.identifier);
  }
  if (!run) {
    throw ToolError(std::string(kDriver) + " cannot be started. Reinstall the package ntfs-3g.");
  }
  if (run->status == 0) {
    linkDeviceNode(device, owner);
  }
  return {.mounted = run->status == 0,
          .condition = ntfsConditionOf(run->status, run->text),
          .driverText = printableRows(run->text)};
}

}  // namespace quorvel
