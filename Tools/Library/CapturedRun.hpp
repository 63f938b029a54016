// Running another program to its end.
#pragma once

#include <optional>
#include <string>

#include "Platform/Linux/Support/ChildProcess.hpp"

namespace quorvel {

struct CapturedRun {
  int status = 0;    ///< As a shell counts it (128 + signal when it was killed).
  std::string text;  ///< What the program wrote on what was captured, at most 64 KiB.
};

enum class Capture { errors, everything };

/// Runs the program and waits for it, capturing its standard error, or that and its standard output
/// in one text. Its standard input is /dev/null unless the request says otherwise. None with errno
/// set when it cannot be started.
[[nodiscard]] std::optional<CapturedRun> runCapturing(ChildRequest request, Capture what);

}  // namespace quorvel
