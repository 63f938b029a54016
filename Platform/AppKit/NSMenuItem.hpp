// One entry of a menu.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Platform/AppKit/NSImage.hpp"

namespace quorvel {

enum class NSControlStateValue { off = 0, on = 1 };

/// Main thread only. An item without an action is shown greyed and cannot be chosen.
class NSMenuItem {
 public:
  /// `action` is the selector that the application's delegate is sent when the item is chosen,
  /// empty for none. A key equivalent is what the platform calls a shortcut; none of ours has one.
  NSMenuItem(std::string_view title, std::string_view action, std::string_view keyEquivalent)
      : title_(title), action_(action), keyEquivalent_(keyEquivalent) {}

  /// A new line between groups of items.
  static std::shared_ptr<NSMenuItem> separatorItem() {
    auto item = std::make_shared<NSMenuItem>("", "", "");
    item->isSeparatorItem_ = true;
    return item;
  }

  [[nodiscard]] const std::string& title() const { return title_; }
  void setTitle(std::string_view title) { title_ = title; }
  [[nodiscard]] const std::string& action() const { return action_; }
  [[nodiscard]] const std::string& keyEquivalent() const { return keyEquivalent_; }
  [[nodiscard]] bool isSeparatorItem() const { return isSeparatorItem_; }

  /// A number of the owner's; 0 if never set.
  [[nodiscard]] int tag() const { return tag_; }
  void setTag(int tag) { tag_ = tag; }

  [[nodiscard]] NSControlStateValue state() const { return state_; }
  void setState(NSControlStateValue state) { state_ = state; }

  /// Whether the state `on` shows as a check mark; `setOnStateImage(nullptr)` has it not shown.
  [[nodiscard]] bool showsCheckMark() const { return showsCheckMark_; }
  void setOnStateImage(const std::shared_ptr<NSImage>& image) {
    showsCheckMark_ = image != nullptr;
  }

  /// What the item stands for, as its owner names it; empty if never set.
  [[nodiscard]] const std::string& representedObject() const { return representedObject_; }
  void setRepresentedObject(std::string_view object) { representedObject_ = object; }

 private:
  std::string title_;
  std::string action_;
  std::string keyEquivalent_;
  bool isSeparatorItem_ = false;
  int tag_ = 0;
  NSControlStateValue state_ = NSControlStateValue::off;
  bool showsCheckMark_ = true;
  std::string representedObject_;
};

}  // namespace quorvel
