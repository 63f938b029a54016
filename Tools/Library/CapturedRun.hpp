// Running another program to its end.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct CapturedRun {
  int status = 0;    ///< As a shell counts it (128 + signal when it was killed).
  std::string text;  ///< What the program wrote on what was captured, at most 64 KiB.
};

/// Runs the program at this absolute path and waits for it, capturing its standard error. Its
/// standard output is ours; its standard input is `standardInput`, or /dev/null. None with errno
/// set when it cannot be started.
[[nodiscard]] std::optional<CapturedRun> runCapturingErrors(
    const std::string& path, const std::vector<std::string>& arguments, int standardInput = -1);

/// The same, capturing standard output and standard error in one text; there is nothing to read.
[[nodiscard]] std::optional<CapturedRun> runCapturingAll(const std::string& path,
                                                         const std::vector<std::string>& arguments);

/// What the program prints on standard output, if it ends within two seconds. One that does not is
/// left to itself and holds nothing of ours: none then, with errno set to EAGAIN.
std::optional<std::string> runPromptly(const std::string& path,
                                       const std::vector<std::string>& arguments);

}  // namespace quorvel
