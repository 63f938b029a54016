// The system's status bar.
#pragma once

#include <memory>

#include "Platform/AppKit/NSStatusItem.hpp"

namespace quorvel {

/// An item that is as wide as its content.
inline constexpr double NSVariableStatusItemLength = -1.0;

/// Main thread only.
class NSStatusBar {
 public:
  static NSStatusBar& systemStatusBar();

  /// A new item, to be given its image and its menu before the loop runs. It appears as soon as
  /// there is a bar to show it.
  [[nodiscard]] std::shared_ptr<NSStatusItem> statusItemWithLength(double length);
};

}  // namespace quorvel
