// The carrier is a signal on the session bus (protocol/com.quorvel.DistributedNotifications.xml).
#include "Platform/Foundation/NSDistributedNotificationCenter.hpp"

#include <map>
#include <string>

#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Linux/Support/Bus.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"
#include "Platform/Linux/Support/SessionBus.hpp"

namespace quorvel {
namespace {

constexpr const char* kPath = "/com/quorvel/DistributedNotifications";
constexpr const char* kInterface = "com.quorvel.DistributedNotifications";
constexpr const char* kMember = "Posted";
constexpr const char* kSignature = "savu";  // Name, the object if there is one, options.

void emit(const std::string& name, const std::string& object, std::uint32_t options) {
  sd_bus* const bus = sessionBus();
  if (bus != nullptr) {
    checkBus("post", ::sd_bus_emit_signal(bus, kPath, kInterface, kMember, kSignature, name.c_str(),
                                          1, "s", object.c_str(), options));
    flushBus(bus);
  }
}

/// The element of an array of variants, if there is one and it is a text.
std::optional<std::string> readObject(sd_bus_message* message) {
  const char* text = nullptr;
  ::sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "v");
  const char* content = nullptr;
  if (::sd_bus_message_peek_type(message, nullptr, &content) <= 0 ||
      std::string_view(content) != "s" || ::sd_bus_message_read(message, "v", "s", &text) <= 0) {
    return std::nullopt;
  }
  return text;
}

struct Observation {
  const void* observer = nullptr;
  NSDistributedNotificationCenter::Callback callback;
  std::string name;
  BusSlot match;
};

/// By observer. Main thread only.
std::map<const void*, Observation>& observations() {
  static auto* const instance = new std::map<const void*, Observation>;  // Immortal.
  return *instance;
}

/// How much may wait for its observer, in bytes.
constexpr std::size_t kMostWaiting = std::size_t{64} << 20U;
std::size_t waiting = 0;  // Main thread only.

/// What an observer does may take long, and notifications may come faster than it is done: the
/// menu, whose calls come by the same bus, is served in between.
void tellWhenIdle(const void* observer, NSNotification notification) {
  const std::size_t size =
      sizeof notification + (notification.object ? notification.object->size() : 0);
  if (waiting + size > kMostWaiting) {
    NSLog("Notifications come faster than they can be answered; one is dropped.");
    return;
  }
  waiting += size;
  performWhenIdle([observer, size, notification = std::move(notification)] {
    waiting -= size;
    if (const auto found = observations().find(observer); found != observations().end()) {
      const auto callback = found->second.callback;  // It may remove its observer.
      callback(notification);
    }
  });
}

int notificationCame(const Observation& observation, sd_bus_message* message) {
  const char* name = nullptr;
  if (::sd_bus_message_has_signature(message, kSignature) <= 0 ||
      ::sd_bus_message_read(message, "s", &name) <= 0) {
    return 0;  // Somebody else's idea of the protocol.
  }
  tellWhenIdle(observation.observer, {.object = readObject(message)});
  return 0;
}

void observe(sd_bus* bus, Observation& observation) {
  const std::string rule = std::string("type='signal',path='") + kPath + "',interface='" +
                           kInterface + "',member='" + kMember + "',arg0='" + observation.name +
                           "'";
  sd_bus_slot* slot = nullptr;
  checkBus("observe notifications",
           ::sd_bus_add_match_async(bus, &slot, rule.c_str(), busHandler<notificationCame>, nullptr,
                                    &observation));
  observation.match.reset(slot);
}

}  // namespace

NSDistributedNotificationCenter& NSDistributedNotificationCenter::defaultCenter() {
  static auto* const center = new NSDistributedNotificationCenter;  // Immortal.
  return *center;
}

void NSDistributedNotificationCenter::postNotificationName(std::string_view name,
                                                           std::string_view object,
                                                           std::uint32_t options) {
  const auto post = [name = std::string(name), object = busText(object), options] {
    emit(name, object, options);
  };
  if (isMainThread()) {
    post();  // Also at the very end, when no loop runs any more.
  } else {
    performLater(post);
  }
}

void NSDistributedNotificationCenter::addObserver(const void* observer, Callback callback,
                                                  std::string_view name) {
  observations()[observer] = {observer, std::move(callback), std::string(name), nullptr};
  whenSessionBusComes([observer](sd_bus* bus) {
    if (const auto found = observations().find(observer); found != observations().end()) {
      observe(bus, found->second);
    }
  });
}

void NSDistributedNotificationCenter::removeObserver(const void* observer) {
  observations().erase(observer);
}

}  // namespace quorvel
