#include "Platform/Foundation/NSRunLoop.hpp"

#include <ctime>
#include <deque>
#include <utility>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {
namespace {

/// Its address is what the event source calls back with.
struct Timer {
  std::chrono::microseconds interval;
  std::function<void()> block;
  EventSource source;
};

/// All that there are.
std::deque<Timer>& timers() {
  static auto* const instance = new std::deque<Timer>;  // Immortal.
  return *instance;
}

int fire(sd_event_source* source, uint64_t due, void* context) {
  const Timer& timer = *static_cast<Timer*>(context);
  const auto interval = static_cast<uint64_t>(timer.interval.count());
  uint64_t now = 0;
  ::sd_event_now(::sd_event_source_get_event(source), CLOCK_MONOTONIC, &now);
  ::sd_event_source_set_time(source, due + ((now - due) / interval + 1) * interval);
  performGuarded(timer.block);
  return 0;
}

}  // namespace

// A source that came due while it was off comes once when it is on again.
void setMenuTracking(bool isTracked) {
  for (const Timer& timer : timers()) {
    ::sd_event_source_set_enabled(timer.source.get(), isTracked ? SD_EVENT_OFF : SD_EVENT_ON);
  }
}

NSRunLoop& NSRunLoop::mainRunLoop() {
  static auto* const loop = new NSRunLoop;  // Immortal.
  return *loop;
}

void NSRunLoop::addTimer(std::chrono::microseconds interval, std::function<void()> block) {
  Timer& timer = timers().emplace_back(Timer{interval, std::move(block), nullptr});
  timer.source = startTimer(interval, fire, &timer);
  ::sd_event_source_set_enabled(timer.source.get(), SD_EVENT_ON);
}

void NSRunLoop::run() {
  const int result = ::sd_event_loop(mainEventLoop());
  NSLog(errorText("The main loop ended", -result));
}

}  // namespace quorvel
