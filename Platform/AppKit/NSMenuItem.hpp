// One entry of a menu.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace quorvel {

enum class NSControlStateValue { off = 0, on = 1 };

/// Main thread only. An item without an action is shown greyed and cannot be chosen.
class NSMenuItem {
 public:
  /// `action` is the selector that the application's delegate is sent when the item is chosen,
  /// empty for none.
  NSMenuItem(std::string_view title, std::string_view action) : title_(title), action_(action) {}

  /// A new line between groups of items.
  static std::shared_ptr<NSMenuItem> separatorItem() {
    auto item = std::make_shared<NSMenuItem>("", "");
    item->isSeparatorItem_ = true;
    return item;
  }

  [[nodiscard]] const std::string& title() const { return title_; }
  [[nodiscard]] const std::string& action() const { return action_; }
  [[nodiscard]] bool isSeparatorItem() const { return isSeparatorItem_; }

  /// Shows nowhere, not as a check mark either.
  [[nodiscard]] NSControlStateValue state() const { return state_; }
  void setState(NSControlStateValue state) { state_ = state; }

  /// What the item stands for, as its owner names it; empty if never set.
  [[nodiscard]] const std::string& representedObject() const { return representedObject_; }
  void setRepresentedObject(std::string_view object) { representedObject_ = object; }

 private:
  std::string title_;
  std::string action_;
  bool isSeparatorItem_ = false;
  NSControlStateValue state_ = NSControlStateValue::off;
  std::string representedObject_;
};

}  // namespace quorvel
