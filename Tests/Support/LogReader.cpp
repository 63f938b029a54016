#include "Tests/Support/LogReader.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "Tests/Support/Files.hpp"

namespace quorvel::test {

std::vector<LogEntry> parseLog(const std::string& text) {
  static const std::regex header(
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} in (\S+ [^\[]+) \[Line [1-9]\d*\]:)");
  std::vector<LogEntry> entries;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    std::smatch match;
    EXPECT_TRUE(std::regex_match(line, match, header)) << line;
    LogEntry entry{match[1], {}};
    while (std::getline(stream, line) && !line.empty()) {
      entry.items.push_back(line);
    }
    EXPECT_FALSE(stream.eof()) << "the last entry does not end with an empty line";
    entries.push_back(entry);
  }
  return entries;
}

std::vector<std::string> loggedItems(const std::filesystem::path& home) {
  std::vector<std::string> items;
  for (const LogEntry& entry : parseLog(readFile(home / "Quorvel_Helper.txt"))) {
    items.insert(items.end(), entry.items.begin(), entry.items.end());
  }
  return items;
}

}  // namespace quorvel::test
