#include "Platform/Linux/Support/BusCalls.hpp"

#include <string>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"

namespace quorvel {

void checkBus(std::string_view attempt, int result) {
  if (result < 0) {
    NSLog(errorText(std::string("Session bus: cannot ").append(attempt), -result));
  }
}

}  // namespace quorvel
