#include "Platform/Linux/Support/BusCalls.hpp"

#include <poll.h>

#include <string>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"

namespace quorvel {

void checkBus(std::string_view attempt, int result) {
  if (result < 0) {
    NSLog(errorText(std::string("Session bus: cannot ").append(attempt), -result));
  }
}

void flushBus(sd_bus* bus) {
  constexpr int kPatience = 2000;  // Milliseconds.
  pollfd socket{.fd = ::sd_bus_get_fd(bus), .events = POLLOUT, .revents = 0};
  if (::poll(&socket, 1, kPatience) > 0) {
    ::sd_bus_flush(bus);
  }
}

}  // namespace quorvel
