#include "Platform/Foundation/NSDistributedNotificationCenter.hpp"

#include <string>

#include "Platform/Foundation/NSRunLoop.hpp"
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
    ::sd_bus_emit_signal(bus, kPath, kInterface, kMember, kSignature, name.c_str(), 1, "s",
                         object.c_str(), options);
    ::sd_bus_flush(bus);
  }
}

}  // namespace

NSDistributedNotificationCenter& NSDistributedNotificationCenter::defaultCenter() {
  static auto* const center = new NSDistributedNotificationCenter;  // Immortal.
  return *center;
}

void NSDistributedNotificationCenter::postNotificationName(std::string_view name,
                                                           std::string_view object,
                                                           std::uint32_t options) {
  NSRunLoop::mainRunLoop().performBlock([name = std::string(name), object = std::string(object),
                                         options] { emit(name, object, options); });
}

}  // namespace quorvel
