#include "Platform/Linux/StatusNotifier/MenuTracker.hpp"

#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {
namespace {

int hostDisappeared(sd_bus_track* /*track*/, void* tracker) {
  performLater([tracker] { static_cast<MenuTracker*>(tracker)->closed(); });
  return 0;
}

}  // namespace

void MenuTracker::aboutToShow() {
  constexpr std::chrono::seconds kTimeToChoose(5);
  shownUntil_ = std::chrono::steady_clock::now() + kTimeToChoose;
}

bool MenuTracker::mayBeShown() const {
  return host_ != nullptr || std::chrono::steady_clock::now() < shownUntil_;
}

void MenuTracker::opened(sd_bus* bus, const char* host) {
  sd_bus_track* track = nullptr;
  ::sd_bus_track_new(bus, &track, hostDisappeared, this);
  host_.reset(track);
  // A host that cannot be watched, because it has gone already, must not stop the scans.
  setMenuTracking(track != nullptr && ::sd_bus_track_add_name(track, host) >= 0);
}

void MenuTracker::closed() {
  host_.reset();
  shownUntil_ = {};
  setMenuTracking(false);
}

}  // namespace quorvel
