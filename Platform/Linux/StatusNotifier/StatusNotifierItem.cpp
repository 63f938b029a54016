#include "Platform/Linux/StatusNotifier/StatusNotifierItem.hpp"

#include <cstddef>
#include <utility>

#include "Platform/Foundation/NSBundle.hpp"

namespace quorvel {
namespace {

constexpr const char* kPath = "/StatusNotifierItem";
constexpr const char* kInterface = "org.kde.StatusNotifierItem";
constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";
constexpr const char* kWatcherMatch =
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='org.kde.StatusNotifierWatcher'";

constexpr std::uint64_t kConstant = SD_BUS_VTABLE_PROPERTY_CONST;

std::string applicationName() {
  return NSBundle::mainBundle().objectForInfoDictionaryKey("CFBundleName").value_or("Application");
}

}  // namespace

struct StatusNotifierItem::Table {
  static int pixmaps(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                     const char* /*property*/, sd_bus_message* reply, void* picture,
                     sd_bus_error* /*error*/) {
    ::sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "(iiay)");
    for (const auto& size : (*static_cast<const NSImage**>(picture))->representations()) {
      ::sd_bus_message_open_container(reply, SD_BUS_TYPE_STRUCT, "iiay");
      ::sd_bus_message_append(reply, "ii", size.width, size.height);
      ::sd_bus_message_append_array(reply, SD_BUS_TYPE_BYTE, size.pixels.data(),
                                    size.pixels.size());
      ::sd_bus_message_close_container(reply);
    }
    return ::sd_bus_message_close_container(reply);
  }

  static int watcherChanged(const StatusNotifierItem& item, sd_bus_message* signal) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* now = nullptr;
    if (::sd_bus_message_read(signal, "sss", &name, &before, &now) > 0 && *now != '\0') {
      item.registerWithWatcher();
    }
    return 0;
  }

  static const sd_bus_vtable kProperties[];  // NOLINT(modernize-avoid-c-arrays): sd-bus takes it.
};

// NOLINTNEXTLINE(modernize-avoid-c-arrays)
const sd_bus_vtable StatusNotifierItem::Table::kProperties[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Category", "s", nullptr, offsetof(Properties, category), kConstant),
    SD_BUS_PROPERTY("Id", "s", nullptr, offsetof(Properties, id), kConstant),
    SD_BUS_PROPERTY("Title", "s", nullptr, offsetof(Properties, title), kConstant),
    SD_BUS_PROPERTY("Status", "s", nullptr, offsetof(Properties, status), kConstant),
    SD_BUS_PROPERTY("IconName", "s", nullptr, offsetof(Properties, iconName), kConstant),
    SD_BUS_PROPERTY("IconPixmap", "a(iiay)", pixmaps, offsetof(Properties, picture), kConstant),
    SD_BUS_PROPERTY("ItemIsMenu", "b", nullptr, offsetof(Properties, itemIsMenu), kConstant),
    SD_BUS_PROPERTY("Menu", "o", nullptr, offsetof(Properties, menu), kConstant),
    SD_BUS_VTABLE_END};

StatusNotifierItem::StatusNotifierItem(sd_bus* bus, std::shared_ptr<NSImage> image,
                                       std::shared_ptr<NSMenu> menu)
    : bus_(bus),
      name_(applicationName()),
      image_(std::move(image)),
      menu_(bus, std::move(menu)),
      properties_{.id = name_.c_str(), .picture = image_.get()} {
  sd_bus_slot* slot = nullptr;
  checkBus("serve the item", ::sd_bus_add_object_vtable(bus, &slot, kPath, kInterface,
                                                        Table::kProperties, &properties_));
  object_.reset(std::exchange(slot, nullptr));
  checkBus("watch for trays",
           ::sd_bus_add_match_async(bus, &slot, kWatcherMatch, busHandler<Table::watcherChanged>,
                                    nullptr, this));
  watcherMatch_.reset(slot);
  registerWithWatcher();
}

void StatusNotifierItem::registerWithWatcher() const {
  sd_bus_message* message = nullptr;
  const char* ownName = nullptr;
  ::sd_bus_get_unique_name(bus_, &ownName);
  ::sd_bus_message_new_method_call(bus_, &message, kWatcher, kWatcherPath, kWatcher,
                                   "RegisterStatusNotifierItem");
  const BusMessage call(message);
  ::sd_bus_message_append(message, "s", ownName);
  ::sd_bus_message_set_auto_start(message, 0);
  ::sd_bus_message_set_expect_reply(message, 0);  // Whether there is a watcher shows later.
  checkBus("register with the tray", ::sd_bus_message_send(message));
}

}  // namespace quorvel
