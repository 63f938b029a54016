// Whether the user is in the menu, as far as hosts tell.
#pragma once

#include "Platform/Linux/Support/BusObjects.hpp"

namespace quorvel {

/// The menu is being tracked from a host's "opened" until its "closed" or "clicked", or until the
/// host disappears. Hosts that tell nothing are in no menu.
class MenuTracker {
 public:
  void opened(sd_bus* bus, const char* host);
  void closed();

 private:
  BusTrack host_;
};

}  // namespace quorvel
