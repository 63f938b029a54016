// The loop that the main thread lives in.
#pragma once

#include "Platform/Foundation/NSTimer.hpp"

namespace quorvel {

/// In which of the loop's modes a timer fires.
enum class NSRunLoopMode {
  defaultMode  ///< Always, except while the user is in a menu.
};

class NSRunLoop {
 public:
  /// The main thread's loop; the only one there is.
  static NSRunLoop& mainRunLoop();

  /// The first firing comes one interval from now, on a clock that neither jumps nor counts time
  /// asleep. Firings that were missed are not made up for. Main thread only.
  void addTimer(NSTimer timer, NSRunLoopMode mode);
  /// Runs until the process ends; comes back, with a word on standard error, only when the system
  /// refuses to go on. Main thread only.
  void run();

  NSRunLoop(const NSRunLoop&) = delete;
  NSRunLoop& operator=(const NSRunLoop&) = delete;
  NSRunLoop(NSRunLoop&&) = delete;
  NSRunLoop& operator=(NSRunLoop&&) = delete;
  ~NSRunLoop() = default;

 private:
  NSRunLoop() = default;
};

}  // namespace quorvel
