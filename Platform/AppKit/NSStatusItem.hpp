// One item of the status bar.
#pragma once

#include <memory>

#include "Platform/AppKit/NSImage.hpp"
#include "Platform/AppKit/NSMenu.hpp"
#include "Platform/Foundation/NSObject.hpp"

namespace quorvel {

/// Main thread only. The item is shown while it lives; without a session bus or a bar it waits for
/// one, and comes back after a bar that was restarted.
class NSStatusItem : public NSObject {
 public:
  void setImage(const std::shared_ptr<NSImage>& image) { image_ = image; }
  /// The menu that opens when the item is clicked. Its delegate is asked to update it each time.
  void setMenu(const std::shared_ptr<NSMenu>& menu) { menu_ = menu; }

 private:
  friend class NSStatusBar;

  std::shared_ptr<NSImage> image_ = std::make_shared<NSImage>();
  std::shared_ptr<NSMenu> menu_ = std::make_shared<NSMenu>();
  std::shared_ptr<void> presence_;  ///< On the screen.
};

}  // namespace quorvel
