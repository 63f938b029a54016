// What a command said.
#pragma once

#include <string>

namespace quorvel {

/// The two streams of a command as UTF-8 text, untrimmed; a stream that was not UTF-8 is empty.
struct CommandResult {
  std::string result;  ///< Standard output.
  std::string error;   ///< Standard error.
};

}  // namespace quorvel
