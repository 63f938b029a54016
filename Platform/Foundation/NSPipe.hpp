// A one-way channel between a task and us.
#pragma once

#include "Platform/Foundation/NSFileHandle.hpp"

namespace quorvel {

/// Both ends are close-on-exec from birth: no other child can hold them open. When no pipe can be
/// made, both handles stand for none.
class NSPipe {
 public:
  NSPipe();
  /// A pipe to which a task can go on writing when we have been killed, up to 64 KiB: it is not
  /// torn off at its next word.
  static NSPipe outlivingReader();

  NSFileHandle& fileHandleForReading() { return reading_; }
  NSFileHandle& fileHandleForWriting() { return writing_; }

 private:
  explicit NSPipe(std::pair<int, int> ends) : reading_(ends.first), writing_(ends.second) {}

  NSFileHandle reading_;
  NSFileHandle writing_;
};

}  // namespace quorvel
