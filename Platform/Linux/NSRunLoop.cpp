#include "Platform/Foundation/NSRunLoop.hpp"

#include <utility>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {

NSRunLoop& NSRunLoop::mainRunLoop() {
  static auto* const loop = new NSRunLoop;  // Immortal.
  return *loop;
}

void NSRunLoop::addTimer(std::chrono::microseconds interval, std::function<void()> block) {
  repeatOutsideMenus(interval, std::move(block));
}

void NSRunLoop::run() {
  const int result = ::sd_event_loop(mainEventLoop());
  NSLog(errorText("The main loop ended", -result));
}

}  // namespace quorvel
