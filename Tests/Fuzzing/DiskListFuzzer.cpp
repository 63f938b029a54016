#include "Helper/DiskInfo.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"

namespace quorvel::test {

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string output(bytes, bytes + size);
  requireWordsOf(output, parseDiskList(output));
  for (const std::string& identifier : parseDiskList(output)) {
    require(identifier.starts_with("disk"), "an identifier begins with disk");
  }
  requireOneMore(parseDiskList, output, "   2: Windows_NTFS A  1 GB  disk7s2 ", "disk7s2");
  return 0;
}

}  // namespace quorvel::test
