// Keeps tools that mount, unmount and clean up out of each other's way.
#pragma once

#include <csignal>
#include <optional>
#include <string_view>

#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// What one tool has taken no other one gets, until this object ends. Meanwhile no signal ends or
/// stops us, be it a key of the caller's terminal: whoever holds something must not wait for
/// anything that a caller controls. One object a process; root only.
class VolumesLock {
 public:
  VolumesLock();
  ~VolumesLock();
  VolumesLock(const VolumesLock&) = delete;
  VolumesLock& operator=(const VolumesLock&) = delete;

  /// Takes one device, waiting 30 seconds for it at most; signals get through as long as it waits.
  /// Throws ToolError, which names the process that holds it, and when the device has gone since it
  /// was listed.
  void take(const BlockDevice& device);

  /// Do not wait: false when another process holds the device, or the entry of this name in
  /// /Volumes. Throw ToolError when there is no place for locks.
  [[nodiscard]] bool tryTake(const Identifier& identifier);
  [[nodiscard]] bool tryTakeEntry(std::string_view name);

 private:
  sigset_t signals_{};              ///< That were blocked before.
  std::optional<UniqueFd> device_;  ///< Open: no other disk, or image, gets its number meanwhile.
};

}  // namespace quorvel
