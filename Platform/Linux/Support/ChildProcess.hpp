// One child process: how it is started, asked to end, and collected.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorvel {

/// What a child is started with. Descriptors are borrowed for the call; -1 inherits ours.
struct ChildRequest {
  std::string path;                      ///< The program; a name without a "/" is searched in PATH.
  std::vector<std::string> arguments;    ///< Without the program's own name.
  std::optional<std::string> directory;  ///< Working directory; ours when absent.
  int standardInput = -1;
  int standardOutput = -1;
  int standardError = -1;
};

/// A child that we started and have not collected yet. One that is destroyed before it was
/// collected is collected in the background, whenever it ends. Use from one thread at a time.
class ChildProcess {
 public:
  /// Starts the program with our environment, default signal dispositions, an empty signal mask
  /// and a session of its own: the keys of a terminal reach us, not a half-done command, and sudo
  /// leaves no ticket on it, for whatever the user starts there.
  /// None with errno set when it cannot be started, also when a text holds a NUL byte.
  static std::optional<ChildProcess> start(ChildRequest request);

  /// Starts a program that outlives us: its standard streams at /dev/null, from a moment after its
  /// start with the limit on core files that we were started with. None as above.
  static std::optional<ChildProcess> startDetached(std::string program,
                                                   std::vector<std::string> arguments);

  ~ChildProcess();
  ChildProcess(ChildProcess&& other) noexcept : pid_(std::exchange(other.pid_, 0)) {}
  ChildProcess& operator=(ChildProcess&&) = delete;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Sends SIGTERM; nothing happens to a child that has been collected.
  void terminate();
  /// Sends SIGKILL to the child and to all in its process group that we may signal; nothing happens
  /// when the child has been collected.
  void killGroup();
  /// Waits for the end: the exit status as a shell counts it (128 + signal when it was killed).
  int wait();

 private:
  explicit ChildProcess(pid_t pid) : pid_(pid) {}

  /// Collects the child if it has ended; true when it is collected now or was before.
  bool collectIfEnded();

  pid_t pid_;  ///< 0 when it has been collected: the number may be another's by then.
};

}  // namespace quorvel
