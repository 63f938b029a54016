#include "Tools/statusmenu/TrayItem.hpp"

#include <algorithm>

#include "Tools/Library/VolumeName.hpp"
#include "Tools/statusmenu/StatusError.hpp"

namespace quorvel {
namespace {

constexpr const char* kAgentName = "com.quorvel.Manager.Helper";
constexpr const char* kItemPath = "/StatusNotifierItem";
constexpr const char* kItemInterface = "org.kde.StatusNotifierItem";
constexpr const char* kWatcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";

BusMessage registrations(const BusConnection& bus) {
  try {
    return bus.property({.name = kWatcherName, .path = kWatcherPath}, kWatcherName,
                        "RegisteredStatusNotifierItems", "as");
  } catch (const StatusError& error) {
    if (error.status() != ExitStatus::noItem) {
      throw;
    }
    throw StatusError(ExitStatus::noItem,
                      "statusmenu: there is no tray on this session bus to list the items of.");
  }
}

}  // namespace

BusAddress agentItem() { return {.name = kAgentName, .path = kItemPath}; }

BusAddress itemFromText(std::string_view text) {
  const std::size_t slash = std::min(text.find('/'), text.size());
  BusAddress item{.name = std::string(text.substr(0, slash)),
                  .path = std::string(text.substr(slash))};
  if (item.path.empty()) {
    item.path = kItemPath;
  }
  if (::sd_bus_service_name_is_valid(item.name.c_str()) <= 0 ||
      ::sd_bus_object_path_is_valid(item.path.c_str()) <= 0) {
    throw UsageError("statusmenu: \"" + printable(text) + "\" is no name of an item.");
  }
  return item;
}

BusAddress menuOf(const BusConnection& bus, const BusAddress& item) {
  const BusMessage value = bus.property(item, kItemInterface, "Menu", "o");
  const char* path = nullptr;
  requireMessage(::sd_bus_message_read_basic(value.get(), SD_BUS_TYPE_OBJECT_PATH, &path));
  if (std::string_view(path) == "/") {
    throw StatusError(ExitStatus::noItem,
                      "statusmenu: the item at " + item.name + item.path + " has no menu.");
  }
  return {.name = item.name, .path = path};
}

std::vector<std::string> registeredItems(const BusConnection& bus) {
  const BusMessage value = registrations(bus);
  requireMessage(::sd_bus_message_enter_container(value.get(), SD_BUS_TYPE_ARRAY, "s"));
  std::vector<std::string> items;
  const char* item = nullptr;
  while (requireMessage(::sd_bus_message_read_basic(value.get(), SD_BUS_TYPE_STRING, &item)) > 0) {
    items.emplace_back(item);
  }
  return items;
}

}  // namespace quorvel
