#include "Platform/Foundation/NSRunLoop.hpp"

#include <ctime>
#include <memory>
#include <utility>
#include <vector>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {
namespace {

/// A timer in the loop; its address is what the event source calls back with.
struct ScheduledTimer {
  NSTimer timer;
  EventSource source;
};

/// All that there are.
std::vector<std::unique_ptr<ScheduledTimer>>& timers() {
  static auto* const instance = new std::vector<std::unique_ptr<ScheduledTimer>>;  // Immortal.
  return *instance;
}

int fire(sd_event_source* source, uint64_t due, void* context) {
  const NSTimer& timer = static_cast<ScheduledTimer*>(context)->timer;
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
  for (const auto& scheduled : timers()) {
    ::sd_event_source_set_enabled(scheduled->source.get(), isTracked ? SD_EVENT_OFF : SD_EVENT_ON);
  }
}

NSRunLoop& NSRunLoop::mainRunLoop() {
  static auto* const loop = new NSRunLoop;  // Immortal.
  return *loop;
}

void NSRunLoop::addTimer(NSTimer timer) {
  auto scheduled = std::make_unique<ScheduledTimer>();
  scheduled->timer = std::move(timer);
  scheduled->source = startTimer(scheduled->timer.interval, fire, scheduled.get());
  ::sd_event_source_set_enabled(scheduled->source.get(), SD_EVENT_ON);
  timers().push_back(std::move(scheduled));
}

void NSRunLoop::run() {
  const int result = ::sd_event_loop(mainEventLoop());
  NSLog(errorText("The main loop ended", -result));
}

}  // namespace quorvel
