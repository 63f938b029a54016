// The application's delegate: what happens when the agent starts and ends.
#pragma once

#include "Platform/AppKit/NSApplication.hpp"

namespace quorvel {

/// Lives on the main thread, like all of AppKit.
class AppDelegate : public NSApplicationDelegate {
 public:
  /// Starts the scan cycle.
  void applicationDidFinishLaunching() override;
  /// Gives every volume that the agent holds back to the system, one after the other.
  void applicationWillTerminate() override;
};

}  // namespace quorvel
