#include "Platform/Linux/MainInterface.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::test {

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const TemporaryFolder folder;
  const std::string path = folder / "MainMenu.plist";
  writeFile(path, std::string(bytes, bytes + size));
  try {
    require(readMainInterface(path).items.size() >= 2, "a menu has its fixed items");
  } catch (const std::runtime_error& problem) {
    require(std::string_view(problem.what()).starts_with(path), "a complaint names the file");
  }
  return 0;
}

}  // namespace quorvel::test
