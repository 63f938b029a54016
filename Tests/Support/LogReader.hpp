// The agent's log, read back.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::test {

/// An item for each line up to the empty one.
using LogEntry = std::vector<std::string>;

/// Every entry; fails the test when anything in the log is not as an entry has to be.
std::vector<LogEntry> parseLog(const std::string& text);

/// Of a scan while another runs: nobody knows when, on a busy machine.
inline constexpr std::string_view kRefusal = "Running....";

/// The items of all whole entries, one after the other, without refusals. Where an entry crosses
/// the end of a page of the file, a half of it can be read while it is written.
std::vector<std::string> loggedItems(const std::filesystem::path& home);

}  // namespace quorvel::test
