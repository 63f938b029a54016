#include "Helper/DiskInfo.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"

namespace quorvel::test {

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string output(bytes, bytes + size);
  requireWordsOf(output, parseMountList(output));
  requireOneMore(parseMountList, output, "/dev/disk7s2  1G  0  1G  0% /Volumes/A", "/dev/disk7s2");
  return 0;
}

}  // namespace quorvel::test
