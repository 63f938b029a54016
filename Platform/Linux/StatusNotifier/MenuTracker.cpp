#include "Platform/Linux/StatusNotifier/MenuTracker.hpp"

#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {
namespace {

int hostDisappeared(sd_bus_track* /*track*/, void* /*context*/) {
  setMenuTracking(false);
  return 0;
}

}  // namespace

void MenuTracker::opened(sd_bus* bus, const char* host) {
  sd_bus_track* track = nullptr;
  if (::sd_bus_track_new(bus, &track, hostDisappeared, nullptr) < 0) {
    return;
  }
  host_.reset(track);
  if (::sd_bus_track_add_name(track, host) >= 0) {
    setMenuTracking(true);
  }
}

void MenuTracker::closed() {
  host_.reset();
  setMenuTracking(false);
}

}  // namespace quorvel
