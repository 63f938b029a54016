#include "Platform/Text/UTF8.hpp"
#include "Shared/SharedData.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::test {

void check(const std::string& content) {
  static const TemporaryFolder folder;
  setEnvironment("XDG_CONFIG_HOME", folder.path());
  writeFile(folder / "com.quorvel.Manager.Shared.plist", content);
  const std::string password = SharedData::shared().pwd();
  require(isUTF8(password), "the password is UTF-8");
  require(password.size() <= content.size(), "the password comes from the file");
  static_cast<void>(SharedData::shared().managerStyle());  // Any bytes may mean either.
}

}  // namespace quorvel::test
