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
  ::sd_bus_track_new(bus, &track, hostDisappeared, nullptr);
  host_.reset(track);
  // A host that cannot be watched, because it has gone already, must not stop the scans.
  setMenuTracking(track != nullptr && ::sd_bus_track_add_name(track, host) >= 0);
}

void MenuTracker::closed() {
  host_.reset();
  setMenuTracking(false);
}

}  // namespace quorvel
