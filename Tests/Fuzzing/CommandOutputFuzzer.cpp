#include "Helper/DiskInfo.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"

namespace quorvel::test {
namespace {

std::string withoutBlanks(std::string text) {
  std::erase(text, ' ');
  return text;
}

/// A word or value is the output's own, and nothing that stands before a row changes what the row
/// is read as.
template <typename Parser>
void requireRows(Parser parse, const std::string& text, const char* row, const char* value) {
  auto expected = parse(text);
  for (const std::string& each : expected) {
    require(each.find('\n') == std::string::npos, "a value ends where its row does");
    require(withoutBlanks(text).find(withoutBlanks(each)) != std::string::npos,
            "nothing in a value is made up");
  }
  expected.emplace_back(value);
  require(parse(text + "\n" + row) == expected, "a further row gives its value behind the others");
}

}  // namespace

void check(const std::string& output) {
  requireRows(parseDiskList, output, "   2: Windows_NTFS A  1 GB  disk7s2 ", "disk7s2");
  requireRows(parseMountList, output, "/dev/disk7s2  1G  0  1G  0% /Volumes/A", "/dev/disk7s2");
  requireRows(parseDiskInfo, output, "   Volume Name:               A b", "A b");
}

}  // namespace quorvel::test
