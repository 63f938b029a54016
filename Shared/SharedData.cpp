#include "Shared/SharedData.hpp"

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Text/UTF8.hpp"
#include "Shared/Constants.hpp"

namespace quorvel {

const SharedData& SharedData::shared() {
  static const auto* const instance = new SharedData;  // Immortal: a scan may outlive main.
  return *instance;
}

SharedData::SharedData() : userDefault(kAppGroupSuiteName) {}

std::string SharedData::pwd() const {
  std::string password = decodeUTF8(userDefault.dataForKey(pwdKey).value_or(""));
  if (!password.empty() && userDefault.isReadableByOthers()) {
    warnOnceOfOtherReaders();
  }
  return password;
}

void SharedData::warnOnceOfOtherReaders() const {
  if (!hasWarned.exchange(true)) {
    NSLog("Other users can read your password in " + userDefault.path() +
          ". Keep it to yourself: chmod 600 '" + userDefault.path() + "'");
  }
}

bool SharedData::managerStyle() const { return userDefault.boolForKey(managerStyleKey); }

}  // namespace quorvel
