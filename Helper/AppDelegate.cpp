#include "Helper/AppDelegate.hpp"

#include "Helper/NTFSManager.hpp"

namespace quorvel {

void AppDelegate::applicationDidFinishLaunching() { NTFSManager::shared().start(); }

void AppDelegate::applicationWillTerminate() {
  for (const auto& volume : NTFSManager::shared().previousInsertedNTFSVolumes()) {
    volume->umount();
  }
}

}  // namespace quorvel
