// One item of the status bar.
#pragma once

#include <memory>

#include "Platform/AppKit/NSImage.hpp"
#include "Platform/AppKit/NSMenu.hpp"

namespace quorvel {

/// Main thread only. The item is shown while it lives; without a session bus or a bar it waits for
/// one, and comes back after a bar that was restarted.
class NSStatusItem {
 public:
  NSStatusItem();
  ~NSStatusItem();
  NSStatusItem(const NSStatusItem&) = delete;
  NSStatusItem& operator=(const NSStatusItem&) = delete;
  NSStatusItem(NSStatusItem&&) = delete;
  NSStatusItem& operator=(NSStatusItem&&) = delete;

  void setImage(const std::shared_ptr<NSImage>& image);
  /// The menu that opens when the item is clicked. Its delegate is asked to update it each time.
  void setMenu(const std::shared_ptr<NSMenu>& menu);

 private:
  class Presence;
  std::shared_ptr<Presence> presence_;
};

}  // namespace quorvel
