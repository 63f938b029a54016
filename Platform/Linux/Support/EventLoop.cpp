#include "Platform/Linux/Support/EventLoop.hpp"

#include <unistd.h>

#include <cstdint>
#include <deque>
#include <exception>
#include <string>

#include "Platform/Foundation/NSLog.hpp"

namespace quorvel {
namespace {

struct Postponed {
  std::deque<std::function<void()>> work;
  EventSource source;
};

int performNext(sd_event_source* source, void* context) {
  auto* const self = static_cast<Postponed*>(context);
  const auto work = std::move(self->work.front());
  self->work.pop_front();
  if (!self->work.empty()) {
    ::sd_event_source_set_enabled(source, SD_EVENT_ONESHOT);
  }
  performGuarded(work);
  return 0;
}

EventSource makePostponedSource(Postponed* context, std::int64_t priority) {
  sd_event_source* source = nullptr;
  ::sd_event_add_defer(mainEventLoop(), &source, performNext, context);
  ::sd_event_source_set_priority(source, priority);
  ::sd_event_source_set_description(source, "postponed work");
  return EventSource(source);
}

void postpone(Postponed& postponed, std::function<void()> work, std::int64_t priority) {
  postponed.work.push_back(std::move(work));
  if (!postponed.source) {
    postponed.source = makePostponedSource(&postponed, priority);
  }
  ::sd_event_source_set_enabled(postponed.source.get(), SD_EVENT_ONESHOT);
}

}  // namespace

sd_event* mainEventLoop() {
  static sd_event* const loop = [] {
    sd_event* created = nullptr;
    ::sd_event_new(&created);
    return created;
  }();
  return loop;
}

bool isMainThread() { return ::gettid() == ::getpid(); }

void performGuarded(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::exception& problem) {
    NSLog(std::string("Work on the main thread ended early: ") + problem.what());
  }
}

void performLater(std::function<void()> work) {
  static auto* const postponed = new Postponed;  // Immortal, like the loop.
  postpone(*postponed, std::move(work), SD_EVENT_PRIORITY_NORMAL);
}

void performWhenIdle(std::function<void()> work) {
  static auto* const postponed = new Postponed;  // Immortal, like the loop.
  postpone(*postponed, std::move(work), SD_EVENT_PRIORITY_IDLE);
}

}  // namespace quorvel
