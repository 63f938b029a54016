#include "Tests/Fuzzing/Fuzzing.hpp"
#include "Tools/Library/MountTable.hpp"

namespace quorvel::test {

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(bytes, bytes + size);
  const auto entries = parseMountTable(text);
  const auto rows = std::count(text.begin(), text.end(), '\n') + 1;
  require(entries.size() <= static_cast<std::size_t>(rows), "a row gives one entry at most");
  const auto more = parseMountTable(text + "\n1 2 8:17 / /a\\040b rw - fuseblk /dev/disk1s1 rw");
  require(more.size() == entries.size() + 1 && more.back().point == "/a b",
          "a further row gives its entry behind the others");
  return 0;
}

}  // namespace quorvel::test
