// Something to be done again and again.
#pragma once

#include <chrono>
#include <functional>

namespace quorvel {

/// A repeating timer. It counts once it has been added to a run loop.
struct NSTimer {
  std::chrono::microseconds interval{};
  std::function<void()> block;
};

}  // namespace quorvel
