#include "Platform/Linux/Support/EventLoop.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>
#include <deque>
#include <exception>
#include <mutex>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

/// Work that waits for the loop. The descriptor counts it, and lets the loop take one at a time.
class WorkQueue {
 public:
  WorkQueue(sd_event* loop, std::int64_t priority) {
    sd_event_source* source = nullptr;
    ::sd_event_add_io(loop, &source, count_.get(), EPOLLIN, performNext, this);
    ::sd_event_source_set_priority(source, priority);
    ::sd_event_source_set_description(source, "postponed work");
    source_.reset(source);
  }

  void push(std::function<void()> work) {
    {
      const std::lock_guard lock(mutex_);
      work_.push_back(std::move(work));
    }
    static_cast<void>(::eventfd_write(count_.get(), 1));
  }

 private:
  static int performNext(sd_event_source* /*source*/, int fd, std::uint32_t /*events*/,
                         void* context) {
    eventfd_t one = 0;
    if (::eventfd_read(fd, &one) == 0) {
      performGuarded(static_cast<WorkQueue*>(context)->takeNext());
    }
    return 0;
  }

  std::function<void()> takeNext() {
    const std::lock_guard lock(mutex_);
    auto next = std::move(work_.front());
    work_.pop_front();
    return next;
  }

  UniqueFd count_{::eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC | EFD_NONBLOCK)};
  std::mutex mutex_;
  std::deque<std::function<void()>> work_;  ///< Guarded by `mutex_`.
  EventSource source_;
};

/// Its address is what the event source calls back with.
struct Timer {
  std::chrono::microseconds interval;
  std::function<void()> block;
  EventSource source;
};

int fire(sd_event_source* source, std::uint64_t due, void* context) {
  const Timer& timer = *static_cast<Timer*>(context);
  const auto interval = static_cast<std::uint64_t>(timer.interval.count());
  std::uint64_t now = 0;
  ::sd_event_now(::sd_event_source_get_event(source), CLOCK_MONOTONIC, &now);
  ::sd_event_source_set_time(source, due + ((now - due) / interval + 1) * interval);
  performGuarded(timer.block);
  return 0;
}

sd_event* makeLoop() {
  sd_event* loop = nullptr;
  ::sd_event_new(&loop);
  return loop;
}

struct MainLoop {
  sd_event* events = makeLoop();
  WorkQueue soon{events, SD_EVENT_PRIORITY_NORMAL};
  WorkQueue idle{events, SD_EVENT_PRIORITY_IDLE};
  std::deque<Timer> timers;
};

MainLoop& mainLoop() {
  static auto* const loop = new MainLoop;  // Immortal: other threads may hold on to it.
  return *loop;
}

}  // namespace

sd_event* mainEventLoop() { return mainLoop().events; }

EventSource startTimer(std::chrono::microseconds delay, sd_event_time_handler_t handler,
                       void* context) {
  constexpr std::uint64_t kAccuracy = 10'000;  // Microseconds: may wake together with others.
  sd_event_source* source = nullptr;
  ::sd_event_add_time_relative(mainEventLoop(), &source, CLOCK_MONOTONIC,
                               static_cast<std::uint64_t>(delay.count()), kAccuracy, handler,
                               context);
  return EventSource(source);
}

void repeatOutsideMenus(std::chrono::microseconds interval, std::function<void()> block) {
  mainLoop().timers.push_back({interval, std::move(block), nullptr});
  Timer& timer = mainLoop().timers.back();
  timer.source = startTimer(interval, fire, &timer);
  ::sd_event_source_set_enabled(timer.source.get(), SD_EVENT_ON);
}

// A source that came due while it was off comes once when it is on again.
void setMenuTracking(bool isTracked) {
  for (const Timer& timer : mainLoop().timers) {
    ::sd_event_source_set_enabled(timer.source.get(), isTracked ? SD_EVENT_OFF : SD_EVENT_ON);
  }
}

bool isMainThread() { return ::gettid() == ::getpid(); }

void performLater(std::function<void()> work) { mainLoop().soon.push(std::move(work)); }

void performWhenIdle(std::function<void()> work) { mainLoop().idle.push(std::move(work)); }

void performGuarded(const std::function<void()>& work) noexcept {
  try {
    work();
  } catch (const std::exception& problem) {
    NSLog("Work ended early:");
    NSLog(problem.what());
  }
}

}  // namespace quorvel
