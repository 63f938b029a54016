// Whether the user is in the menu, as far as hosts tell.
#pragma once

#include <cstdint>

#include "Platform/Linux/Support/Bus.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {

/// The menu is being tracked from a host's "opened" until its "closed" or "clicked", until the host
/// disappears, or, in case the end was lost, for ten minutes. For hosts that tell nothing no timer
/// waits, but a menu that they were about to show is taken to be on the screen for a minute.
class MenuTracker {
 public:
  explicit MenuTracker(sd_bus* bus);

  void aboutToShow();
  void opened(const char* host);
  void closed(const char* host);

  /// Whether somebody may be looking at the menu.
  [[nodiscard]] bool mayBeShown() const { return timeLimit_ != nullptr; }

 private:
  static int hostsGone(sd_bus_track* hosts, void* tracker);
  static int timeIsUp(sd_event_source* timer, std::uint64_t due, void* tracker);

  [[nodiscard]] bool isOpen() const { return ::sd_bus_track_count(hosts_.get()) > 0; }
  void watchNoHost();
  void end();

  sd_bus* bus_;
  BusTrack hosts_;         ///< In which it is open.
  EventSource timeLimit_;  ///< None while it is in no host.
};

}  // namespace quorvel
