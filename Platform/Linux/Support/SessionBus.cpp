#include "Platform/Linux/Support/SessionBus.hpp"

#include <ctime>
#include <utility>
#include <vector>

#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {
namespace {

constexpr uint64_t kRetryPeriod = 2'500'000;  // Microseconds.

struct Connection {
  Bus bus;
  BusSlot endMatch;
  EventSource retry;
  std::vector<std::function<void(sd_bus*)>> waiting;
  std::function<void()> atEnd;
};

Connection& connection() {
  static auto* const instance = new Connection;  // Immortal, like the loop that serves it.
  return *instance;
}

/// sd-bus makes this signal up itself when the other side is gone.
int busEnded(sd_bus_message* /*message*/, void* context, sd_bus_error* /*error*/) {
  const auto* const self = static_cast<Connection*>(context);
  if (self->atEnd) {
    self->atEnd();
  }
  return 0;
}

void connect(Connection& self) {
  self.bus = openSessionBus();
  sd_bus* const opened = self.bus.get();
  if (opened == nullptr) {
    return;
  }
  ::sd_bus_attach_event(opened, mainEventLoop(), SD_EVENT_PRIORITY_NORMAL);
  sd_bus_slot* slot = nullptr;
  ::sd_bus_match_signal(opened, &slot, nullptr, "/org/freedesktop/DBus/Local",
                        "org.freedesktop.DBus.Local", "Disconnected", busEnded, &self);
  self.endMatch.reset(slot);
}

int tryAgain(sd_event_source* source, uint64_t due, void* context) {
  auto* const self = static_cast<Connection*>(context);
  sd_bus* const bus = sessionBus();
  if (bus == nullptr) {
    ::sd_event_source_set_time(source, due + kRetryPeriod);
    return ::sd_event_source_set_enabled(source, SD_EVENT_ONESHOT);
  }
  for (const auto& work : std::exchange(self->waiting, {})) {
    work(bus);
  }
  return 0;
}

void tryAgainLater(Connection& self) {
  if (self.retry) {
    return;
  }
  sd_event_source* source = nullptr;
  ::sd_event_add_time_relative(mainEventLoop(), &source, CLOCK_MONOTONIC, kRetryPeriod, 0, tryAgain,
                               &self);
  ::sd_event_source_set_description(source, "waiting for a session bus");
  self.retry.reset(source);
}

}  // namespace

sd_bus* sessionBus() {
  Connection& self = connection();
  if (!self.bus) {
    connect(self);
  }
  return self.bus && ::sd_bus_is_open(self.bus.get()) > 0 ? self.bus.get() : nullptr;
}

void whenSessionBusComes(std::function<void(sd_bus*)> work) {
  if (sd_bus* const bus = sessionBus(); bus != nullptr) {
    work(bus);
    return;
  }
  connection().waiting.push_back(std::move(work));
  tryAgainLater(connection());
}

void whenSessionBusEnds(std::function<void()> work) { connection().atEnd = std::move(work); }

}  // namespace quorvel
