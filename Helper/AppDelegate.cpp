#include "Helper/AppDelegate.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <optional>
#include <utility>

#include "Helper/NTFSManager.hpp"
#include "Platform/AppKit/NSStatusBar.hpp"
#include "Platform/AppKit/NSWorkspace.hpp"
#include "Platform/Foundation/NSBundle.hpp"
#include "Platform/Foundation/NSLog.hpp"
#include "Shared/Console.hpp"
#include "Shared/Constants.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kFixedItems = 2;
constexpr int kLevelsToMainApp = 4;

using Action = void (AppDelegate::*)(const NSMenuItem&);
using Selector = std::pair<std::string_view, Action>;

// What connects the names in menus, and in the main interface file, to code.
constexpr std::array kActions{Selector{"openMainApp:", &AppDelegate::openMainApp},
                              Selector{"terminateWithSender:", &AppDelegate::terminate},
                              Selector{"didChangeSelectWithSender:", &AppDelegate::didChangeSelect},
                              Selector{"openVolumeWithSender:", &AppDelegate::openVolume}};

const Selector* findAction(std::string_view selector) {
  const auto* const found = std::ranges::find(kActions, selector, &Selector::first);
  return found == kActions.end() ? nullptr : found;
}

/// An item of a volume's block. It is bound to the volume by its identifier: the registry may have
/// changed by the time that the item is chosen.
std::shared_ptr<NSMenuItem> volumeItem(const std::string& verb, const VolumeModel& volume,
                                       std::string_view action) {
  auto item = std::make_shared<NSMenuItem>(verb + " [" + volume.name() + "]", action);
  item->setRepresentedObject(volume.ID());
  return item;
}

void insertVolume(NSMenu& menu, const VolumeModel& volume) {
  const bool isMounted = volume.status() == VolumeModel::Status::mounted;
  const auto toggle = volumeItem(isMounted ? "推出" : "挂载", volume, "didChangeSelectWithSender:");
  menu.insertItemAtIndex(NSMenuItem::separatorItem(), 0);
  if (isMounted) {
    toggle->setState(NSControlStateValue::on);
    menu.insertItemAtIndex(volumeItem("在Finder中打开", volume, "openVolumeWithSender:"), 0);
  }
  menu.insertItemAtIndex(toggle, 0);
}

void insertNoVolume(NSMenu& menu) {
  menu.insertItemAtIndex(std::make_shared<NSMenuItem>("没有发现NTFS卷", ""), 0);
  menu.insertItemAtIndex(NSMenuItem::separatorItem(), 1);
}

/// The volume that an item stands for; null when it is gone.
std::shared_ptr<VolumeModel> volumeOf(const NSMenuItem& item) {
  const auto volumes = NTFSManager::shared().previousInsertedNTFSVolumes();
  const auto found = std::ranges::find(volumes, item.representedObject(),
                                       [](const auto& each) { return each->ID(); });
  return found == volumes.end() ? nullptr : *found;
}

/// Whatever happens to one volume, the others are given back.
void giveBack(VolumeModel& volume) {
  try {
    volume.umount();
  } catch (const std::exception& problem) {
    NSLog("Volume " + volume.ID() + " is not given back (" + problem.what() +
          "). Do it by hand: diskutil umount " + volume.ID() + " && diskutil mount " + volume.ID());
  }
}

/// Where the main application lies, when the agent's bundle lies in it; none when the path is not
/// that deep.
std::optional<std::string> mainApplicationPath(const NSBundle& agent) {
  std::filesystem::path path(agent.bundlePath());
  if (std::distance(path.begin(), path.end()) <= kLevelsToMainApp) {
    return std::nullopt;
  }
  for (int level = 0; level < kLevelsToMainApp; ++level) {
    path = path.parent_path();
  }
  return path;
}

}  // namespace

const std::shared_ptr<NSStatusItem>& AppDelegate::statusItem() {
  if (!statusItem_) {
    statusItem_ = NSStatusBar::systemStatusBar().statusItemWithLength(NSVariableStatusItemLength);
    statusItem_->setImage(NSImage::imageNamed("statusIcon"));
  }
  return statusItem_;
}

void AppDelegate::applicationDidFinishLaunching() {
  statusItem()->setMenu(mainMenu());
  NTFSManager::shared().start();
}

void AppDelegate::terminate(const NSMenuItem& /*sender*/) {
  NSApplication::sharedApplication().terminate();
}

void AppDelegate::openMainApp(const NSMenuItem& /*sender*/) {
  NSWorkspace& workspace = NSWorkspace::sharedWorkspace();
  const auto running = workspace.runningApplications();
  if (std::ranges::find(running, kMainAppBundleIdentifier,
                        &NSRunningApplication::bundleIdentifier) != running.end()) {
    return;
  }
  const NSBundle& agent = NSBundle::mainBundle();
  const auto path = mainApplicationPath(agent);
  if (!path) {
    NSLog("The main application cannot be opened: " + agent.bundlePath() +
          " does not lie in the Contents/Library/LoginItems folder of one.");
    return;
  }
  workspace.launchApplication(*path);
}

void AppDelegate::applicationWillTerminate() {
  for (const auto& volume : NTFSManager::shared().previousInsertedNTFSVolumes()) {
    giveBack(*volume);
  }
}

void AppDelegate::didChangeSelect(const NSMenuItem& sender) {
  const FunctionLog log{"didChangeSelect(sender:)"};
  const auto volume = volumeOf(sender);
  if (!volume) {
    return;
  }
  if (sender.state() == NSControlStateValue::on) {
    volume->umount();
  } else {
    volume->mount();
  }
  log({static_cast<int>(sender.state())});
}

void AppDelegate::openVolume(const NSMenuItem& sender) {
  const FunctionLog log{"openVolume(sender:)"};
  const auto volume = volumeOf(sender);
  if (!volume) {
    return;
  }
  volume->showInFinder();
  log({static_cast<int>(sender.state())});
}

void AppDelegate::reloadMenu() {
  const auto menu = mainMenu();
  auto items = menu->itemArray();
  items.erase(items.begin(), items.end() - kFixedItems);
  menu->setItemArray(std::move(items));
  const auto volumes = NTFSManager::shared().previousInsertedNTFSVolumes();
  if (volumes.empty()) {
    insertNoVolume(*menu);
  }
  for (const auto& volume : volumes) {
    insertVolume(*menu, *volume);
  }
}

void AppDelegate::menuNeedsUpdate(NSMenu& /*menu*/) { reloadMenu(); }

bool AppDelegate::connectOutlet(std::string_view outlet, const std::shared_ptr<NSMenu>& menu) {
  if (outlet != "mainMenu") {
    return false;
  }
  setMainMenu(menu);
  return true;
}

bool AppDelegate::respondsToSelector(std::string_view selector) const {
  return findAction(selector) != nullptr;
}

void AppDelegate::performAction(const NSMenuItem& sender) {
  if (const Selector* const action = findAction(sender.action()); action != nullptr) {
    (this->*action->second)(sender);
  }
}

}  // namespace quorvel
