#include "Platform/Linux/Support/SessionBus.hpp"

#include <cstdint>
#include <utility>
#include <vector>

namespace quorvel {
namespace {

constexpr std::chrono::milliseconds kRetryPeriod{2500};

struct Connection {
  std::string name;
  SessionBusEvents events;
  Bus bus;
  bool isReady = false;
  EventSource retry;
  std::vector<std::function<void(sd_bus*)>> waiting;
};

Connection& connection() {
  static auto* const instance = new Connection;  // Immortal, like the loop that serves it.
  return *instance;
}

void connect();

int tryAgain(sd_event_source* /*source*/, uint64_t /*due*/, void* /*context*/) {
  connect();
  return 0;
}

void tryAgainLater() { connection().retry = startTimer(kRetryPeriod, tryAgain, nullptr); }

/// sd-bus makes this signal up itself when the other side is gone.
int busEnded(sd_bus_message* /*message*/, void* /*context*/, sd_bus_error* /*error*/) {
  performGuarded(connection().events.ended);
  return 0;
}

void useConnection(Connection& self) {
  constexpr std::uint64_t kPatience = 2'000'000;  // Microseconds: it answers at once or is broken.
  self.isReady = true;
  ::sd_bus_set_method_call_timeout(self.bus.get(), kPatience);
  checkBus("watch for the end of the session bus",
           ::sd_bus_match_signal(self.bus.get(), nullptr, nullptr, "/org/freedesktop/DBus/Local",
                                 "org.freedesktop.DBus.Local", "Disconnected", busEnded, nullptr));
  for (const auto& work : std::exchange(self.waiting, {})) {
    performGuarded([&] { work(self.bus.get()); });
  }
}

/// The first answer of the bus. Also what sd-bus makes up when there is none to be had: a socket
/// may be there with nobody, or somebody else, behind it.
int nameAnswered(sd_bus_message* reply, void* /*context*/, sd_bus_error* /*error*/) {
  constexpr std::uint32_t kTaken = 3;  // DBUS_REQUEST_NAME_REPLY_EXISTS
  Connection& self = connection();
  std::uint32_t answer = 0;
  if (::sd_bus_message_read(reply, "u", &answer) <= 0) {
    self.bus.reset();
    tryAgainLater();
  } else if (answer == kTaken) {
    performGuarded(self.events.nameIsTaken);
  } else {
    useConnection(self);
  }
  return 0;
}

void connect() {
  Connection& self = connection();
  sd_bus* opened = nullptr;
  const bool isOpen = ::sd_bus_open_user(&opened) >= 0;
  self.bus.reset(opened);
  if (!isOpen || ::sd_bus_attach_event(opened, mainEventLoop(), SD_EVENT_PRIORITY_NORMAL) < 0 ||
      ::sd_bus_request_name_async(opened, nullptr, self.name.c_str(), 0, nameAnswered, nullptr) <
          0) {
    self.bus.reset();
    tryAgainLater();
  }
}

}  // namespace

void connectToSessionBus(const std::string& name, SessionBusEvents events) {
  connection().name = name;
  connection().events = std::move(events);
  connect();
}

sd_bus* sessionBus() {
  const Connection& self = connection();
  return self.isReady && ::sd_bus_is_open(self.bus.get()) > 0 ? self.bus.get() : nullptr;
}

void whenSessionBusComes(std::function<void(sd_bus*)> work) {
  connection().waiting.push_back(std::move(work));
}

}  // namespace quorvel
