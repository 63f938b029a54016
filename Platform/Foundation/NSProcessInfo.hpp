// What the system tells about the processes that it runs.
#pragma once

namespace quorvel {

class NSProcessInfo {
 public:
  /// Whether every account of the machine can read the texts of the commands that others run, as
  /// it can where nobody has changed that. May be called from any thread.
  [[nodiscard]] static bool areCommandsReadableByAll();
};

}  // namespace quorvel
