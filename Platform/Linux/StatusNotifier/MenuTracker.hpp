// Whether the user is in the menu, as far as hosts tell.
#pragma once

#include <chrono>

#include "Platform/Linux/Support/BusObjects.hpp"

namespace quorvel {

/// The menu is being tracked from a host's "opened" until its "closed" or "clicked", or until the
/// host disappears. For hosts that tell nothing no timer waits, but a menu that they were about to
/// show is taken to be on the screen for a while.
class MenuTracker {
 public:
  void aboutToShow();
  void opened(sd_bus* bus, const char* host);
  void closed();

  /// Whether somebody may be looking at the menu.
  [[nodiscard]] bool mayBeShown() const;

 private:
  BusTrack host_;
  std::chrono::steady_clock::time_point shownUntil_;
};

}  // namespace quorvel
