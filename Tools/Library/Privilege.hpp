// What only root may do, and how an ordinary user has it done.
#pragma once

#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

[[nodiscard]] bool isRoot();

/// Throws NeedsRoot unless we are root. `task` completes the sentence "Only root may ...".
void requireRoot(const std::string& task);

/// For a tool that may have been started by sudo, before it does anything: makes good what a caller
/// can prepare. The standard streams are open, children can be waited for; as root, also: the
/// environment is forgotten, resource limits are the usual ones, no descriptor of the caller
/// reaches a child, and what is printed is written at the end or when the buffers (of 1 and 128
/// KiB) are full, so that whoever does not read it holds up nothing but the end.
void distrustCaller();

/// Runs this very program again as root, without asking for a password, and waits for it. Its
/// standard output is ours, and what it says on standard error is passed on. The exit status; none
/// when sudo refuses, after a message that says what to do about it.
[[nodiscard]] std::optional<int> runAgainAsRoot(const std::vector<std::string>& arguments);

/// The same, but what it prints, on either stream, is the result and goes nowhere else; none when
/// it ends with another status than 0. Throws ToolError when sudo refuses.
[[nodiscard]] std::optional<std::string> askAsRoot(const std::vector<std::string>& arguments);

/// One tool at a time mounts, unmounts and cleans up. Whoever holds the lock must not wait for
/// anything that a caller controls, and the keys of the caller's terminal neither stop nor end it.
/// Root only.
class VolumesLock {
 public:
  enum class Wait { no, yes };

  /// Waits for the others, or, with `Wait::no`, gives up, and then is false. Throws ToolError.
  explicit VolumesLock(Wait wait);
  ~VolumesLock();
  VolumesLock(const VolumesLock&) = delete;
  VolumesLock& operator=(const VolumesLock&) = delete;

  explicit operator bool() const { return static_cast<bool>(file_); }

 private:
  UniqueFd file_;
  sigset_t signals_{};  ///< That were blocked before.
};

}  // namespace quorvel
