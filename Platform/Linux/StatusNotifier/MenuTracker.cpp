#include "Platform/Linux/StatusNotifier/MenuTracker.hpp"

namespace quorvel {

int MenuTracker::hostsGone(sd_bus_track* /*hosts*/, void* tracker) {
  static_cast<MenuTracker*>(tracker)->end();
  return 1;  // After 0 it would be called again.
}

int MenuTracker::timeIsUp(sd_event_source* /*timer*/, std::uint64_t /*due*/, void* tracker) {
  auto* const self = static_cast<MenuTracker*>(tracker);
  self->watchNoHost();
  self->end();
  return 0;
}

MenuTracker::MenuTracker(sd_bus* bus) : bus_(bus) { watchNoHost(); }

void MenuTracker::aboutToShow() {
  constexpr std::chrono::minutes kTimeToChoose{1};
  if (!isOpen()) {
    timeLimit_ = startTimer(kTimeToChoose, timeIsUp, this);
  }
}

void MenuTracker::opened(const char* host) {
  constexpr std::chrono::minutes kLongestOpen{10};
  // A host that cannot be watched, because it has gone already, must not stop the scans.
  if (::sd_bus_track_add_name(hosts_.get(), host) >= 0) {
    timeLimit_ = startTimer(kLongestOpen, timeIsUp, this);
    setMenuTracking(true);
  }
}

void MenuTracker::closed(const char* host) {
  ::sd_bus_track_remove_name(hosts_.get(), host);
  if (!isOpen()) {
    end();
  }
}

void MenuTracker::watchNoHost() {
  sd_bus_track* track = nullptr;
  ::sd_bus_track_new(bus_, &track, hostsGone, this);
  hosts_.reset(track);
}

void MenuTracker::end() {
  timeLimit_.reset();
  setMenuTracking(false);
}

}  // namespace quorvel
