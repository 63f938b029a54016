// An icon in the tray, by the protocol org.kde.StatusNotifierItem
// (protocol/org.kde.StatusNotifierItem.xml).
#pragma once

#include <memory>
#include <string>
#include <vector>

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
  struct Properties;  ///< What the bus reads.

  void registerWithWatcher() const;
  [[nodiscard]] std::vector<NSImage::Representation> pictures() const;

  sd_bus* bus_;
  const char* menuPath_;
  std::string name_;  ///< Hosts pass over an item without one.
  std::shared_ptr<NSImage> image_;
  BusSlot object_;
  BusSlot watcherMatch_;
};

}  // namespace quorvel
