// Reading a value from standard input, so that it stands in no one's shell history.
#pragma once

#include <string>

namespace quorvel {

/// All of standard input without one line feed at its end. From a terminal: asks for one line and
/// does not show what is typed. Throws ToolError when it cannot be read.
[[nodiscard]] std::string readSecret();

}  // namespace quorvel
