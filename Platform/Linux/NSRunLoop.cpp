#include "Platform/Foundation/NSRunLoop.hpp"

#include <ctime>
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
  bool isOverdue = false;  ///< It came due while the user was in a menu.
};

/// All timers there are; their only mode is the default one.
struct Timers {
  std::vector<std::unique_ptr<ScheduledTimer>> all;
  bool areHeldBack = false;
};

Timers& timers() {
  static auto* const instance = new Timers;  // Immortal, like the loop.
  return *instance;
}

uint64_t microseconds(const NSTimer& timer) {
  return static_cast<uint64_t>(timer.interval.count());
}

int fire(sd_event_source* source, uint64_t due, void* context) {
  auto* const scheduled = static_cast<ScheduledTimer*>(context);
  uint64_t now = 0;
  ::sd_event_now(::sd_event_source_get_event(source), CLOCK_MONOTONIC, &now);
  const uint64_t interval = microseconds(scheduled->timer);
  const uint64_t missed = (now - due) / interval;
  ::sd_event_source_set_time(source, due + (missed + 1) * interval);
  if (timers().areHeldBack) {
    scheduled->isOverdue = true;
  } else {
    performGuarded(scheduled->timer.block);
  }
  return 0;
}

}  // namespace

void setMenuTracking(bool isTracked) {
  timers().areHeldBack = isTracked;
  for (const auto& scheduled : timers().all) {
    if (!isTracked && std::exchange(scheduled->isOverdue, false)) {
      performGuarded(scheduled->timer.block);
    }
  }
}

NSRunLoop& NSRunLoop::mainRunLoop() {
  static NSRunLoop loop;
  return loop;
}

void NSRunLoop::addTimer(NSTimer timer, NSRunLoopMode /*mode*/) {
  constexpr uint64_t kAccuracy = 10'000;  // Microseconds: may wake together with other sources.
  auto scheduled = std::make_unique<ScheduledTimer>();
  scheduled->timer = std::move(timer);
  sd_event_source* source = nullptr;
  ::sd_event_add_time_relative(mainEventLoop(), &source, CLOCK_MONOTONIC,
                               microseconds(scheduled->timer), kAccuracy, fire, scheduled.get());
  ::sd_event_source_set_enabled(source, SD_EVENT_ON);
  ::sd_event_source_set_description(source, "timer");
  scheduled->source.reset(source);
  timers().all.push_back(std::move(scheduled));
}

void NSRunLoop::run() {
  const int result = ::sd_event_loop(mainEventLoop());
  NSLog(errorText("The main loop ended", -result));
}

}  // namespace quorvel
