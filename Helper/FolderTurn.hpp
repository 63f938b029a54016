// One operation at a time in a folder.
#pragma once

#include <string>

#include "Platform/Foundation/NSObject.hpp"

namespace quorvel {

/// The right to work in the mount directory of all volumes of a name, which is one: whoever looks
/// into it before deleting it must know that nothing is mounted there in between. It ends with its
/// owner. May be used from any thread.
class FolderTurn : public NSObject {
 public:
  /// Waits while another has it, but no longer than half a minute: what hangs must not take the
  /// menu, or the end of the agent, with it.
  explicit FolderTurn(std::string name);
  ~FolderTurn();

  /// Whether it has been got.
  explicit operator bool() const { return isOurs_; }

 private:
  std::string name_;
  bool isOurs_;
};

}  // namespace quorvel
