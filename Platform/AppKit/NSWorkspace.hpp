// The user's other programs.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Platform/AppKit/NSRunningApplication.hpp"
#include "Platform/Foundation/NSObject.hpp"

namespace quorvel {

/// Main thread only.
class NSWorkspace : public NSObject {
 public:
  static NSWorkspace& sharedWorkspace();

  /// The applications of the user that run, by the names that they own on the session bus; none
  /// without one.
  [[nodiscard]] std::vector<NSRunningApplication> runningApplications() const;

  /// Starts the program that the bundle at `path` names in its Info.plist, detached from us; one
  /// that was started so and still runs is not started again. Nothing happens when there is no such
  /// bundle or it cannot be started.
  void launchApplication(const std::string& path);

 private:
  std::map<std::string, std::weak_ptr<void>> launched_;  ///< What we have started so, as it runs.
};

}  // namespace quorvel
