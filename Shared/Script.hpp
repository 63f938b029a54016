// The agent's only way of doing anything to a disk: a command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Shared/CommandResult.hpp"

namespace quorvel {

class Script {
 public:
  Script() = delete;

  /// Starts `launchPath` (absolute) in `currentDirectoryPath` (ours when absent), blocks until
  /// every process that shares its output streams has closed them, without a time limit, and
  /// returns what was written. For "/bin/zsh" the arguments, joined by blanks, become one command
  /// text behind "-c"; any other program gets them unchanged. Exit statuses are not looked at. A
  /// program that cannot be started gives two empty texts. A stream that is not UTF-8 gives the
  /// empty text. A command that says more than 256 MiB on a stream is ended, with all that it has
  /// started, and gives two empty texts. May be called from any thread.
  static CommandResult run(std::string_view launchPath,
                           std::optional<std::string_view> currentDirectoryPath,
                           const std::vector<std::string>& arguments);
};

}  // namespace quorvel
