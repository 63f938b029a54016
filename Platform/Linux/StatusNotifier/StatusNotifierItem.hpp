// An icon with a menu in the tray, by the protocol org.kde.StatusNotifierItem
// (protocol/org.kde.StatusNotifierItem.xml).
#pragma once

#include <memory>
#include <string>

#include "Platform/AppKit/NSImage.hpp"
#include "Platform/Linux/StatusNotifier/DBusMenu.hpp"
#include "Platform/Linux/Support/Bus.hpp"

namespace quorvel {

/// Shown from its making to its end: with every watcher that comes, it registers again. Main thread
/// only.
class StatusNotifierItem {
 public:
  /// For an empty image a host shows a picture of its own.
  StatusNotifierItem(sd_bus* bus, std::shared_ptr<NSImage> image, std::shared_ptr<NSMenu> menu);

 private:
  /// What the bus reads. No title, and no icon name: a host that does not find one shows a picture
  /// of its own instead of ours.
  struct Properties {
    const char* category = "Hardware";
    const char* id = nullptr;  ///< Hosts pass over an item without one.
    const char* title = "";
    const char* status = "Active";
    const char* iconName = "";
    const NSImage* picture = nullptr;
    int itemIsMenu = 1;  ///< A click of either button opens the menu; there is nothing to activate.
    const char* menu = DBusMenu::kPath;
  };
  struct Table;

  void registerWithWatcher() const;

  sd_bus* bus_;
  std::string name_;
  std::shared_ptr<NSImage> image_;
  DBusMenu menu_;
  Properties properties_;
  BusSlot object_;
  BusSlot watcherMatch_;
};

}  // namespace quorvel
