// What a tool throws when it cannot go on; runTool catches it.
#pragma once

#include <stdexcept>

namespace quorvel {

/// Ends a tool with exit status 1. The text names what was being done, to what, and what to do.
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Wrong arguments: the tool says so, shows its usage, and ends with 64 (EX_USAGE of sysexits.h).
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quorvel
