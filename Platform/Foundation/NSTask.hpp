// A program run as a child process.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/NSObject.hpp"
#include "Platform/Foundation/NSPipe.hpp"

namespace quorvel {

/// Describes a child, starts it once, and may ask it to end. The child inherits our standard input
/// and environment; it starts with default signal dispositions, an empty signal mask and a session
/// of its own, without a terminal. A task that is destroyed while its child lives leaves it
/// running; the child is collected in the background when it ends. Tasks may be used from any
/// thread, each from one at a time.
class NSTask : public NSObject {
 public:
  /// Absolute path of the program.
  void setLaunchPath(std::string_view path) { launchPath_ = path; }
  /// The child's working directory; ours when it is never set.
  void setCurrentDirectoryPath(std::string_view path) { currentDirectoryPath_ = path; }
  void setArguments(const std::vector<std::string>& arguments) { arguments_ = arguments; }
  /// Both have to be set. The pipes must live until `launch` has returned.
  void setStandardOutput(NSPipe& pipe) { standardOutput_ = &pipe; }
  void setStandardError(NSPipe& pipe) { standardError_ = &pipe; }

  /// Starts the child and closes our copies of the pipes' writing ends. False when the program
  /// cannot be started; else the child may be asked or made to end.
  bool launch();
  /// Asks the child to end (SIGTERM). A child that has ended already is not signalled.
  void terminate();
  /// Ends the child at once (SIGKILL), and all that is in its process group and that we may signal.
  void killWithSubtasks();

 private:
  struct Child;

  std::string launchPath_;
  std::optional<std::string> currentDirectoryPath_;
  std::vector<std::string> arguments_;
  NSPipe* standardOutput_ = nullptr;
  NSPipe* standardError_ = nullptr;
  std::shared_ptr<Child> child_;
};

}  // namespace quorvel
