#include "Platform/Linux/Support/SessionBus.hpp"

#include <memory>

#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {
namespace {

struct BusDeleter {
  void operator()(sd_bus* bus) const { ::sd_bus_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusDeleter>;

Bus connect() {
  sd_bus* opened = nullptr;
  if (::sd_bus_open_user(&opened) < 0) {
    return nullptr;
  }
  Bus bus(opened);
  return ::sd_bus_attach_event(opened, mainEventLoop(), SD_EVENT_PRIORITY_NORMAL) < 0
             ? nullptr
             : std::move(bus);
}

}  // namespace

sd_bus* sessionBus() {
  static auto* const bus = new Bus;  // Immortal, like the loop that serves it.
  if (!*bus || ::sd_bus_is_open(bus->get()) <= 0) {
    *bus = connect();
  }
  return bus->get();
}

}  // namespace quorvel
