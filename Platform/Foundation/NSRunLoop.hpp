// The loop that the main thread lives in.
#pragma once

#include <chrono>
#include <functional>

#include "Platform/Foundation/NSObject.hpp"

namespace quorvel {

class NSRunLoop : public NSObject {
 public:
  /// The main thread's loop; the only one there is.
  static NSRunLoop& mainRunLoop();

  /// Has `block` called again and again, for the first time one interval from now, on a clock that
  /// neither jumps nor counts time asleep. Calls that were missed are not made up for. The timer is
  /// in the loop's default mode: it does not fire while the user is in a menu, and once afterwards
  /// if it was due. Main thread only.
  void addTimer(std::chrono::microseconds interval, std::function<void()> block);
  /// Runs until the process ends; comes back, with a word on standard error, only when the system
  /// refuses to go on. Main thread only.
  void run();
};

}  // namespace quorvel
