#include "Platform/Foundation/NSRunLoop.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <ctime>
#include <mutex>
#include <vector>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"

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

struct NSRunLoop::Sources {
  UniqueFd wakeUp{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  EventSource wakeUpSource;
  std::mutex mutex;
  std::vector<std::function<void()>> blocks;  ///< Guarded by `mutex`.

  static int runBlocks(sd_event_source* /*source*/, int fd, uint32_t /*events*/, void* context) {
    auto* const self = static_cast<Sources*>(context);
    uint64_t count = 0;
    static_cast<void>(::read(fd, &count, sizeof count));
    for (const auto& block : self->takeBlocks()) {
      performGuarded(block);
    }
    return 0;
  }

  std::vector<std::function<void()>> takeBlocks() {
    const std::lock_guard lock(mutex);
    return std::exchange(blocks, {});
  }
};

NSRunLoop& NSRunLoop::mainRunLoop() {
  static auto* const loop = new NSRunLoop;  // Immortal: other threads may hold on to it.
  return *loop;
}

NSRunLoop::NSRunLoop() : sources_(std::make_unique<Sources>()) {}
NSRunLoop::~NSRunLoop() = default;

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

void NSRunLoop::performBlock(std::function<void()> block) {
  if (isMainThread()) {
    block();
    return;
  }
  {
    const std::lock_guard lock(sources_->mutex);
    sources_->blocks.push_back(std::move(block));
  }
  const uint64_t one = 1;
  static_cast<void>(::write(sources_->wakeUp.get(), &one, sizeof one));
}

void NSRunLoop::run() {
  sd_event_source* source = nullptr;
  ::sd_event_add_io(mainEventLoop(), &source, sources_->wakeUp.get(), EPOLLIN, Sources::runBlocks,
                    sources_.get());
  ::sd_event_source_set_description(source, "blocks from other threads");
  sources_->wakeUpSource.reset(source);
  const int result = ::sd_event_loop(mainEventLoop());
  NSLog(errorText("The main loop ended", -result));
}

}  // namespace quorvel
