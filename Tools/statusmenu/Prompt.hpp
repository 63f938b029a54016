// A question at the terminal.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

struct Answer {
  std::string line;  ///< Without its end; empty also at the end of the input.
  int signal = 0;  ///< The signal that came in place of an answer (SIGINT, SIGTERM, SIGHUP), or 0.
};

/// Shows `question` and waits for a line. Meanwhile a signal to end ends only the question, so that
/// the caller still can tidy up. Throws ToolError when the terminal cannot be read.
[[nodiscard]] Answer ask(std::string_view question);

}  // namespace quorvel
