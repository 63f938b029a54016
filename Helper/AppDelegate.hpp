// The application's delegate: the agent's item in the menu bar, and what its menu does.
#pragma once

#include <memory>

#include "Helper/VolumeModel.hpp"
#include "Platform/AppKit/NSApplication.hpp"
#include "Platform/AppKit/NSMenu.hpp"
#include "Platform/AppKit/NSStatusItem.hpp"

namespace quorvel {

/// Lives on the main thread, like all of AppKit. The menu has a block for each adopted volume on
/// top, made anew each time it opens, and two fixed items from the main interface file at the end.
class AppDelegate : public NSApplicationDelegate, public NSMenuDelegate {
 public:
  /// The agent's menu; null before the main interface file is loaded. It is the application's.
  [[nodiscard]] std::shared_ptr<NSMenu> mainMenu() const { return mainMenu_.lock(); }
  void setMainMenu(const std::shared_ptr<NSMenu>& menu) { mainMenu_ = menu; }
  /// The agent's item in the status bar, made at the first call.
  [[nodiscard]] const std::shared_ptr<NSStatusItem>& statusItem();

  /// Shows the status item and starts the scan cycle.
  void applicationDidFinishLaunching() override;
  /// Quits the agent.
  void terminate(const NSMenuItem& sender);
  /// Launches the main application, in whose bundle the agent lies, unless it runs.
  void openMainApp(const NSMenuItem& sender);
  /// Gives every volume that the agent holds back to the system, one after the other.
  void applicationWillTerminate() override;
  /// Mounts or ejects the volume that the chosen item stands for.
  void didChangeSelect(const NSMenuItem& sender);
  /// Opens the folder of the volume that the chosen item stands for.
  void openVolume(const NSMenuItem& sender);
  /// Makes the menu show the volumes of this moment.
  void reloadMenu();

  void menuNeedsUpdate(NSMenu& menu) override;
  bool connectOutlet(std::string_view outlet, const std::shared_ptr<NSMenu>& menu) override;
  [[nodiscard]] bool respondsToSelector(std::string_view selector) const override;
  void performAction(const NSMenuItem& sender) override;

 private:
  std::weak_ptr<NSMenu> mainMenu_;
  std::shared_ptr<NSStatusItem> statusItem_;
};

}  // namespace quorvel
