#include "Platform/AppKit/NSWorkspace.hpp"

#include <map>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/PropertyList.hpp"
#include "Platform/Linux/Support/SessionBus.hpp"

namespace quorvel {
namespace {

constexpr uint64_t kPatience = 2'000'000;  // Microseconds: a bus answers at once or is broken.

BusMessage askForNames(sd_bus* bus) {
  sd_bus_message* message = nullptr;
  ::sd_bus_message_new_method_call(bus, &message, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "ListNames");
  const BusMessage call(message);
  sd_bus_message* reply = nullptr;
  ::sd_bus_call(bus, message, kPatience, nullptr, &reply);
  return BusMessage(reply);
}

std::optional<std::string> executableOf(const std::string& bundle) {
  const PropertyList info = readPropertyList(bundle + "/Contents/Info.plist");
  const auto name =
      info ? propertyListText(propertyListItem(info.get(), "CFBundleExecutable")) : std::nullopt;
  return name ? std::optional(bundle + "/Contents/MacOS/" + *name) : std::nullopt;
}

}  // namespace

/// The children that we started, by their bundles' paths.
struct NSWorkspace::Launched {
  std::map<std::string, ChildProcess> children;

  bool stillRuns(const std::string& path) {
    const auto child = children.find(path);
    if (child == children.end() || !child->second.collectIfEnded()) {
      return child != children.end();
    }
    children.erase(child);
    return false;
  }
};

NSWorkspace::NSWorkspace() : launched_(std::make_unique<Launched>()) {}
NSWorkspace::~NSWorkspace() = default;

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
      applications.emplace_back(name);
    }
  }
  return applications;
}

bool NSWorkspace::launchApplication(const std::string& path) {
  if (launched_->stillRuns(path)) {
    return true;
  }
  const auto executable = executableOf(path);
  if (!executable) {
    NSLog("There is no application at " + path + ": its Contents/Info.plist names no program.");
    return false;
  }
  ChildRequest request;
  request.path = *executable;
  request.newSession = true;
  auto child = ChildProcess::start(request);
  if (!child) {
    NSLog(errorText("Cannot start " + *executable));
    return false;
  }
  launched_->children.emplace(path, std::move(*child));
  return true;
}

}  // namespace quorvel
