// An icon in the tray, by the protocol org.kde.StatusNotifierItem
// (protocol/org.kde.StatusNotifierItem.xml).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Platform/AppKit/NSImage.hpp"
#include "Platform/Linux/Support/BusObjects.hpp"

namespace quorvel {

/// Shown from its making to its end: with every watcher that comes, it registers again. Main thread
/// only.
class StatusNotifierItem {
 public:
  /// `image` may be null: a host then shows a picture of its own. `menuPath` is where the item's
  /// menu is on the same bus; it must outlive the object.
  StatusNotifierItem(sd_bus* bus, const char* menuPath, std::shared_ptr<NSImage> image);

 private:
  /// What the bus reads. No title, and no icon name: a host that does not find one shows a picture
  /// of its own instead of ours.
  struct Properties {
    const char* category = "Hardware";
    const char* id = nullptr;  ///< Hosts pass over an item without one.
    const char* title = "";
    const char* status = "Active";
    std::int32_t windowId = 0;
    const char* iconName = "";
    const NSImage* picture = nullptr;
    int itemIsMenu = 1;  ///< A click of either button opens the menu; there is nothing to activate.
    const char* menu = nullptr;
  };
  struct Table;

  void registerWithWatcher() const;

  sd_bus* bus_;
  std::string name_;
  std::shared_ptr<NSImage> image_;
  Properties properties_;
  BusSlot object_;
  BusSlot watcherMatch_;
};

}  // namespace quorvel
