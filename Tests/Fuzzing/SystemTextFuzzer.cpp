#include <map>
#include <regex>

#include "Platform/Text/TakeUntil.hpp"
#include "Platform/Text/UTF8.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/MountTable.hpp"

namespace quorvel::test {
namespace {

void requireComponent(const std::string& name) {
  constexpr std::size_t kLongest = 255;
  require(!name.empty() && name.size() <= kLongest, "it has a length that a file may have");
  static const std::regex elsewhere("(^|:) *[.][.]? *(:|$)");
  require(!std::regex_search(name, elsewhere), "no part between colons leads elsewhere");
  require(name.find_first_of(std::string("/\n\0", 3)) == std::string::npos, "it is one component");
  require(isUTF8(name) && printable(name) == name, "it can be printed");
}

void requireName(const std::string& label) {
  const std::string name = volumeName(label);
  requireComponent(name);
  require(volumeName(name) == name, "a name is its own name");
  constexpr unsigned kNumber = 4'000'000'000;
  requireComponent(numberedName(name, kNumber));
}

void requireContents(std::string_view rows) {
  std::map<std::string, std::string, std::less<>> record;
  while (!rows.empty()) {
    std::string_view row = takeUntil(rows, '\n');
    const std::string property(takeUntil(row, '='));
    record[property] = row;
  }
  BlockDevice partition;
  partition.identifier.partition = 1;
  const Contents contents =
      contentsOfRecord(partition, [&record](const char* property) { return record[property]; });
  requireComponent(nameOf(contents));
  require(printable(contents.type) == contents.type, "its type can be printed");
}

std::string asTheKernelWrites(std::string_view path) {
  static const std::map<char, std::string> escapes{
      {' ', "\\040"}, {'\t', "\\011"}, {'\n', "\\012"}, {'\\', "\\134"}};
  std::string text;
  for (const char each : path) {
    const auto escape = escapes.find(each);
    text += escape == escapes.end() ? std::string(1, each) : escape->second;
  }
  return text;
}

}  // namespace

void check(const std::string& input) {
  requireName(input);
  requireName(decodeUdevText(input));
  requireContents(input);
  const auto mounts = parseMountTable(input + "\n1 2 8:1 / " + asTheKernelWrites(input) +
                                      " rw - fuseblk /dev/sda1 rw");
  require(!mounts.empty() && mounts.back().point == input && mounts.back().source == "/dev/sda1",
          "a mount is found wherever it is");
}

}  // namespace quorvel::test
