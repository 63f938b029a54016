#include "Platform/AppKit/NSWorkspace.hpp"

#include <cstdlib>
#include <utility>

#include "Platform/Dispatch/Dispatch.hpp"
#include "Platform/Foundation/NSBundle.hpp"
#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Platform/Linux/Support/Owned.hpp"
#include "Platform/Linux/Support/SessionBus.hpp"

namespace quorvel {

NSWorkspace& NSWorkspace::sharedWorkspace() {
  static auto* const workspace = new NSWorkspace;  // Immortal.
  return *workspace;
}

std::vector<NSRunningApplication> NSWorkspace::runningApplications() const {
  std::vector<NSRunningApplication> applications;
  char** names = nullptr;
  ::sd_bus_list_names(sessionBus(), &names, nullptr);  // Without a bus it does nothing.
  const Owned<char*, std::free> owner(names);
  for (; names != nullptr && *names != nullptr; ++names) {
    const Owned<char, std::free> name(*names);
    applications.push_back({std::string(name.get())});
  }
  return applications;
}

void NSWorkspace::launchApplication(const std::string& path) {
  const auto program = NSBundle(path).objectForInfoDictionaryKey("CFBundleExecutable");
  if (!program || !launched_[path].expired()) {
    return;
  }
  if (auto started = ChildProcess::startDetached(path + "/Contents/MacOS/" + *program, {})) {
    const auto child = std::make_shared<ChildProcess>(std::move(*started));
    launched_[path] = child;
    dispatchAsyncOnGlobalQueue([child] { child->wait(); });
  }
}

}  // namespace quorvel
