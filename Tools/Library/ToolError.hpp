// What a tool throws when it cannot go on; runTool catches it.
#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace quorvel {

/// Ends a tool with that exit status. The text names what was being done, to what, and what to do.
class ToolError : public std::runtime_error {
 public:
  explicit ToolError(const std::string& text, int status = EXIT_FAILURE)
      : std::runtime_error(text), status_(status) {}
  [[nodiscard]] int status() const { return status_; }

 private:
  int status_;
};

/// Wrong arguments: the tool says so, shows its usage, and ends with 64 (EX_USAGE of sysexits.h).
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quorvel
