#include "Platform/AppKit/NSWorkspace.hpp"

#include <utility>

#include "Platform/Dispatch/Dispatch.hpp"
#include "Platform/Foundation/NSBundle.hpp"
#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"
#include "Platform/Linux/Support/SessionBus.hpp"

namespace quorvel {
namespace {

BusMessage askForNames(sd_bus* bus) {
  sd_bus_message* reply = nullptr;
  ::sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                       "ListNames", nullptr, &reply, "");
  return BusMessage(reply);
}

}  // namespace

NSWorkspace& NSWorkspace::sharedWorkspace() {
  static auto* const workspace = new NSWorkspace;  // Immortal.
  return *workspace;
}

std::vector<NSRunningApplication> NSWorkspace::runningApplications() const {
  std::vector<NSRunningApplication> applications;
  sd_bus* const bus = sessionBus();
  const BusMessage names = bus == nullptr ? nullptr : askForNames(bus);
  if (!names) {
    return applications;
  }
  const char* name = nullptr;
  ::sd_bus_message_enter_container(names.get(), SD_BUS_TYPE_ARRAY, "s");
  while (::sd_bus_message_read(names.get(), "s", &name) > 0) {
    if (*name != ':') {
      applications.push_back({name});
    }
  }
  return applications;
}

void NSWorkspace::launchApplication(const std::string& path) {
  const auto program = NSBundle(path).objectForInfoDictionaryKey("CFBundleExecutable");
  if (!program || launched_.contains(path)) {
    return;
  }
  auto started = ChildProcess::startDetached(path + "/Contents/MacOS/" + *program, {});
  if (!started) {
    return;
  }
  launched_.insert(path);
  const auto child = std::make_shared<ChildProcess>(std::move(*started));
  dispatchAsyncOnGlobalQueue([this, path, child] {
    child->wait();
    performLater([this, path] { launched_.erase(path); });
  });
}

}  // namespace quorvel
