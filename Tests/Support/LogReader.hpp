// The agent's log, read back.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvel::test {

/// An item for each line up to the empty one.
using LogEntry = std::vector<std::string>;

/// Every entry; fails the test when anything in the log is not as an entry has to be.
std::vector<LogEntry> parseLog(const std::string& text);

/// The items of all entries, one after the other.
std::vector<std::string> loggedItems(const std::filesystem::path& home);

}  // namespace quorvel::test
