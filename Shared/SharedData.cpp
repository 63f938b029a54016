#include "Shared/SharedData.hpp"

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Foundation/NSProcessInfo.hpp"
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
  if (!password.empty()) {
    warnOnceOfOtherReaders();
  }
  return password;
}

void SharedData::warnOnceOfOtherReaders() const {
  if (userDefault.isReadableByOthers() && !hasWarnedOfFile.exchange(true)) {
    NSLog("Other users can read your password in " + userDefault.path() +
          ". Keep it to yourself: chmod 600 '" + userDefault.path() + "'");
  }
  if (!hasLookedAtProcesses.exchange(true) && NSProcessInfo::areCommandsReadableByAll()) {
    NSLog(
        "Other users can read your password in ps while a command of the agent runs, because "
        "/proc is mounted without hidepid. quorvel-helper(1), OTHER ACCOUNTS, says how to hide "
        "it.");
  }
}

bool SharedData::managerStyle() const { return userDefault.boolForKey(managerStyleKey); }

}  // namespace quorvel
