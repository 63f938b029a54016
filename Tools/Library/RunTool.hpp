// The frame of a tool: help, complaints and the exit status; and its words to a person.
#pragma once

#include <functional>
#include <span>
#include <string_view>

namespace quorvel {

/// The arguments of a tool without its own name.
using Arguments = std::span<char* const>;

/// The body of every main, with what that was given: answers `--help` (usage on standard output,
/// status 0), turns the errors of ToolError.hpp into a message on standard error and an exit
/// status, else returns what `body` returns. A ToolError's text is printed as it stands: the
/// wording is the tool's contract.
int runTool(std::string_view usage, int count, char** words,
            const std::function<int(Arguments)>& body) noexcept;

/// Writes to standard output or standard error, whole.
void print(std::string_view text);
void printError(std::string_view text);

}  // namespace quorvel
