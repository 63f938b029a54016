// The application: one for the process. The classes of this storey have the names that they have on
// the platform for which the agent was conceived (its libraries begin all names with NS): who knows
// the one knows the other.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/AppKit/NSMenu.hpp"
#include "Platform/Foundation/NSObject.hpp"

namespace quorvel {

/// What an application tells its delegate. All calls come on the main thread.
class NSApplicationDelegate : public NSObject {
 public:
  virtual ~NSApplicationDelegate() = default;

  /// Once, when launching has finished and before the loop runs.
  virtual void applicationDidFinishLaunching() = 0;
  /// Once, just before the process ends.
  virtual void applicationWillTerminate() = 0;

  /// Connects an object of the main interface file to the outlet of that name; false when there is
  /// no such outlet.
  virtual bool connectOutlet(std::string_view outlet, const std::shared_ptr<NSMenu>& menu) = 0;
  /// Whether `performAction` knows this selector.
  [[nodiscard]] virtual bool respondsToSelector(std::string_view selector) const = 0;
  /// Does what the chosen item's action names; nothing where it has none.
  virtual void performAction(const NSMenuItem& sender) = 0;
};

/// The classes that a main interface file may name, with what makes an instance of each.
using NSClassTable =
    std::map<std::string, std::function<std::unique_ptr<NSApplicationDelegate>()>, std::less<>>;

/// Everything here belongs to the main thread.
class NSApplication {
 public:
  static NSApplication& sharedApplication();

  /// Loads a main interface file: makes the delegate and the menu that it describes and connects
  /// them. It is a property list with the texts DelegateClass and MenuOutlet and the array Menu, of
  /// two items at least, of dictionaries with the texts Title and Action; a text that is not there
  /// reads as empty. Throws std::runtime_error, with a message for the user, when it is missing,
  /// damaged, or names something that does not exist.
  void loadInterface(const std::string& path, const NSClassTable& classes);

  /// Finishes launching and runs the loop. SIGTERM, SIGINT and SIGHUP, as far as they were not
  /// ignored at the start, and the end of the session bus terminate the application. So does a
  /// session bus on which another program has the bundle's identifier as its name, with status 1.
  [[noreturn]] void run();
  /// Tells the delegate, then ends the process with status 0.
  [[noreturn]] void terminate();
  /// Has the delegate perform the item's action.
  void sendAction(const NSMenuItem& sender);

 private:
  [[noreturn]] void end(int status);

  std::unique_ptr<NSApplicationDelegate> delegate_;
  std::shared_ptr<NSMenu> menu_;
};

/// Creates the application, loads the main interface file that the bundle's Info.plist names (key
/// `NSMainNibFile`) and runs it; does not come back. A start that fails says why on standard error
/// and ends the process with status 1; so does a second start by the same user. The arguments are
/// not used.
[[noreturn]] int NSApplicationMain(int argc, char** argv, const NSClassTable& classes);

}  // namespace quorvel
