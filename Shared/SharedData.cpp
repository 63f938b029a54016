#include "Shared/SharedData.hpp"

#include "Shared/Constants.hpp"
#include "Shared/UTF8.hpp"

namespace quorvel {

const SharedData& SharedData::shared() {
  static const auto* const instance = new SharedData;  // Immortal: a scan may outlive main.
  return *instance;
}

SharedData::SharedData() : userDefault(kAppGroupSuiteName) {}

std::string SharedData::pwd() const {
  return decodeUTF8(userDefault.dataForKey(pwdKey).value_or(""));
}

bool SharedData::managerStyle() const { return userDefault.boolForKey(managerStyleKey); }

}  // namespace quorvel
