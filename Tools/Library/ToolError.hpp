// What a tool throws when it cannot go on, and the one place that catches it.
#pragma once

#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

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

/// The arguments of a tool without its own name.
using Arguments = std::span<char* const>;

/// The body of every main: answers `--help` (usage on standard output, status 0), turns the errors
/// above into a message on standard error and an exit status, else returns what `body` returns.
/// A ToolError's text is printed as it stands: the wording is the tool's contract.
int runTool(std::string_view usage, Arguments arguments,
            const std::function<int(Arguments)>& body) noexcept;

/// Writes to standard output or standard error, whole.
void print(std::string_view text);
void printError(std::string_view text);

}  // namespace quorvel
