// A menu: an ordered list of items.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "Platform/AppKit/NSMenuItem.hpp"
#include "Platform/Foundation/NSObject.hpp"

namespace quorvel {

class NSMenu;

/// Who keeps a menu up to date.
class NSMenuDelegate : public NSObject {
 public:
  virtual ~NSMenuDelegate() = default;

  /// Each time the menu is about to be shown.
  virtual void menuNeedsUpdate(NSMenu& menu) = 0;
};

/// Main thread only.
class NSMenu {
 public:
  using Items = std::vector<std::shared_ptr<NSMenuItem>>;

  [[nodiscard]] const Items& itemArray() const { return items_; }
  void setItemArray(Items items) { items_ = std::move(items); }
  void insertItemAtIndex(const std::shared_ptr<NSMenuItem>& item, std::size_t index) {
    items_.insert(items_.begin() + static_cast<Items::difference_type>(index), item);
  }

  [[nodiscard]] NSMenuDelegate* delegate() const { return delegate_; }
  /// The delegate is not owned and must outlive the menu's use.
  void setDelegate(NSMenuDelegate* delegate) { delegate_ = delegate; }

 private:
  Items items_;
  NSMenuDelegate* delegate_ = nullptr;
};

}  // namespace quorvel
