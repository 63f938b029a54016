// A one-way channel between a task and us.
#pragma once

#include "Platform/Foundation/NSFileHandle.hpp"

namespace quorvel {

/// Both ends are close-on-exec from birth: no other child can hold them open. When no pipe can be
/// made, both handles stand for none. Writing never fails for want of a reader: a task outlives us.
class NSPipe {
 public:
  NSPipe();

  NSFileHandle& fileHandleForReading() { return reading_; }
  NSFileHandle& fileHandleForWriting() { return writing_; }

 private:
  explicit NSPipe(std::pair<int, int> ends) : reading_(ends.first), writing_(ends.second) {}

  NSFileHandle reading_;
  NSFileHandle writing_;
};

}  // namespace quorvel
