#include "Tests/Support/LogReader.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "Tests/Support/Files.hpp"

namespace quorvel::test {

std::vector<LogEntry> parseLog(const std::string& text) {
  static const std::regex header(
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} in \S+ [^\[]+ \[Line [1-9]\d*\]:)");
  std::vector<LogEntry> entries;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    EXPECT_TRUE(std::regex_match(line, header)) << line;
    LogEntry& entry = entries.emplace_back();
    while (std::getline(stream, line) && !line.empty()) {
      entry.push_back(line);
    }
    EXPECT_FALSE(stream.eof()) << "the last entry does not end with an empty line";
  }
  return entries;
}

std::vector<std::string> loggedItems(const std::filesystem::path& home) {
  std::vector<std::string> items;
  std::string text = readFile(home / "Quorvel_Helper.txt");
  const std::size_t lastEnd = text.rfind("\n\n");
  text.resize(lastEnd == std::string::npos ? 0 : lastEnd + 2);
  for (const LogEntry& entry : parseLog(text)) {
    items.insert(items.end(), entry.begin(), entry.end());
  }
  std::erase(items, kRefusal);
  return items;
}

}  // namespace quorvel::test
