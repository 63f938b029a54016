// The application: one for the process.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace quorvel {

/// What an application tells its delegate. All calls come on the main thread.
class NSApplicationDelegate {
 public:
  NSApplicationDelegate() = default;
  virtual ~NSApplicationDelegate() = default;
  NSApplicationDelegate(const NSApplicationDelegate&) = delete;
  NSApplicationDelegate& operator=(const NSApplicationDelegate&) = delete;
  NSApplicationDelegate(NSApplicationDelegate&&) = delete;
  NSApplicationDelegate& operator=(NSApplicationDelegate&&) = delete;

  /// Once, when launching has finished and before the loop runs.
  virtual void applicationDidFinishLaunching() = 0;
  /// Once, just before the process ends.
  virtual void applicationWillTerminate() = 0;
};

/// The classes that a main interface file may name, with what makes an instance of each.
using NSClassTable =
    std::map<std::string, std::function<std::unique_ptr<NSApplicationDelegate>()>, std::less<>>;

/// Everything here belongs to the main thread.
class NSApplication {
 public:
  static NSApplication& sharedApplication();

  void setDelegate(std::unique_ptr<NSApplicationDelegate> delegate);
  /// Finishes launching and runs the loop. SIGTERM, SIGINT and SIGHUP terminate the application.
  [[noreturn]] void run();
  /// Tells the delegate, then ends the process with status 0.
  [[noreturn]] void terminate();

 private:
  std::unique_ptr<NSApplicationDelegate> delegate_;
};

/// Creates the application, loads the main interface file that the bundle's Info.plist names (key
/// `NSMainNibFile`), gives the application the delegate that the file names, and runs it; does not
/// come back. A start that fails says why on standard error and ends the process with status 1.
/// The arguments are not used.
[[noreturn]] int NSApplicationMain(int argc, char** argv, const NSClassTable& classes);

}  // namespace quorvel
