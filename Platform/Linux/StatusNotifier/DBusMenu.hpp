// A menu on the session bus, by the protocol com.canonical.dbusmenu
// (protocol/com.canonical.dbusmenu.xml).
#pragma once

#include <cstdint>
#include <memory>

#include "Platform/AppKit/NSMenu.hpp"
#include "Platform/Linux/StatusNotifier/MenuLayout.hpp"
#include "Platform/Linux/StatusNotifier/MenuTracker.hpp"
#include "Platform/Linux/Support/Bus.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {

/// Serves one menu to any number of hosts. Each time a host is about to show it, the menu's
/// delegate brings it up to date; a chosen item goes to the application after the host has its
/// answer. What has changed while nobody looks is announced at once: panels of GTK give the menu
/// its size before they ask. Main thread only.
class DBusMenu {
 public:
  /// Where on the bus it is.
  static constexpr const char* kPath = "/MenuBar";

  DBusMenu(sd_bus* bus, std::shared_ptr<NSMenu> menu);

 private:
  struct Methods;  ///< What the bus and the loop call.

  void update();
  void announceLayout();
  void appendLayout(sd_bus_message* reply, std::int32_t parent) const;
  void choose(std::int32_t id);

  sd_bus* bus_;
  std::shared_ptr<NSMenu> menu_;
  MenuLayout layout_;
  std::uint32_t announced_ = 0;  ///< The revision that all hosts were told of.
  MenuTracker tracker_;
  BusSlot object_;
  EventSource afterEvents_;
};

}  // namespace quorvel
