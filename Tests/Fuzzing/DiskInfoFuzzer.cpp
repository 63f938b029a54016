#include "Helper/DiskInfo.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"

namespace quorvel::test {

namespace {

std::string withoutBlanks(std::string text) {
  std::erase(text, ' ');
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string output(bytes, bytes + size);
  for (const std::string& value : parseDiskInfo(output)) {
    require(value.find_first_of(":\n") == std::string::npos, "a value ends where its row does");
    require(value.find(valueIndent) == std::string::npos, "a value has no indent");
    require(withoutBlanks(output).find(withoutBlanks(value)) != std::string::npos,
            "nothing in a value is made up");
  }
  requireOneMore(parseDiskInfo, output, "   Volume Name:               A b", "A b");
  return 0;
}

}  // namespace quorvel::test
