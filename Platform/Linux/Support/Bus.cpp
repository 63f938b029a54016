#include "Platform/Linux/Support/Bus.hpp"

#include <poll.h>

#include <utility>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Text/UTF8.hpp"

namespace quorvel {
namespace {

/// NUL, U+FDD0 to U+FDEF, and the last two code points of every plane.
bool isRefusedByBus(char32_t point) {
  return point == 0 || (point >= 0xFDD0 && point <= 0xFDEF) || (point & 0xFFFEU) == 0xFFFEU;
}

}  // namespace

Bus openSessionBus() {
  sd_bus* opened = nullptr;
  const char* name = nullptr;
  int result = ::sd_bus_open_user(&opened);
  Bus bus(opened);
  if (result >= 0) {
    // A socket may be there with nobody, or somebody else, behind it: a name proves that it is a
    // bus.
    result = ::sd_bus_get_unique_name(opened, &name);
  }
  errno = result < 0 ? -result : 0;
  return result < 0 ? nullptr : std::move(bus);
}

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

std::string busText(std::string_view text) {
  return replaceRefused(text, isRefusedByBus, "\xEF\xBF\xBD");  // U+FFFD
}

}  // namespace quorvel
