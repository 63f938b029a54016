#include "Platform/Linux/StatusNotifier/StatusNotifierItem.hpp"

#include <string_view>
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

std::string applicationName() {
  return NSBundle::mainBundle().objectForInfoDictionaryKey("CFBundleName").value_or("Application");
}

}  // namespace

struct StatusNotifierItem::Properties {
  static int text(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                  const char* property, sd_bus_message* reply, void* context,
                  sd_bus_error* /*error*/) {
    const std::string_view name(property);
    if (name == "Category") {
      return ::sd_bus_message_append(reply, "s", "Hardware");
    }
    if (name == "Status") {
      return ::sd_bus_message_append(reply, "s", "Active");
    }
    // No icon name: a host that does not find one shows a picture of its own instead of ours.
    const auto* const self = static_cast<StatusNotifierItem*>(context);
    const bool isName = name == "Id" || name == "Title";
    return ::sd_bus_message_append(reply, "s", isName ? self->name_.c_str() : "");
  }

  static int pixmaps(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                     const char* /*property*/, sd_bus_message* reply, void* context,
                     sd_bus_error* /*error*/) {
    const auto* const self = static_cast<StatusNotifierItem*>(context);
    ::sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "(iiay)");
    for (const auto& picture : self->pictures()) {
      ::sd_bus_message_open_container(reply, SD_BUS_TYPE_STRUCT, "iiay");
      ::sd_bus_message_append(reply, "ii", picture.width, picture.height);
      ::sd_bus_message_append_array(reply, SD_BUS_TYPE_BYTE, picture.pixels.data(),
                                    picture.pixels.size());
      ::sd_bus_message_close_container(reply);
    }
    return ::sd_bus_message_close_container(reply);
  }

  static int menu(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                  const char* /*property*/, sd_bus_message* reply, void* context,
                  sd_bus_error* /*error*/) {
    return ::sd_bus_message_append(reply, "o",
                                   static_cast<StatusNotifierItem*>(context)->menuPath_);
  }

  // A click of either button opens the menu; there is nothing to activate.
  static int itemIsMenu(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                        const char* /*property*/, sd_bus_message* reply, void* /*context*/,
                        sd_bus_error* /*error*/) {
    return ::sd_bus_message_append(reply, "b", 1);
  }

  static int windowId(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                      const char* /*property*/, sd_bus_message* reply, void* /*context*/,
                      sd_bus_error* /*error*/) {
    return ::sd_bus_message_append(reply, "i", 0);
  }

  static int watcherChanged(sd_bus_message* signal, void* context, sd_bus_error* /*error*/) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* now = nullptr;
    if (::sd_bus_message_read(signal, "sss", &name, &before, &now) > 0 && *now != '\0') {
      static_cast<StatusNotifierItem*>(context)->registerWithWatcher();
    }
    return 0;
  }

  static const sd_bus_vtable kTable[];  // NOLINT(modernize-avoid-c-arrays): what sd-bus takes.
};

// NOLINTNEXTLINE(modernize-avoid-c-arrays)
const sd_bus_vtable StatusNotifierItem::Properties::kTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Category", "s", text, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Id", "s", text, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Title", "s", text, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Status", "s", text, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("WindowId", "i", windowId, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("IconName", "s", text, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("IconPixmap", "a(iiay)", pixmaps, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("ItemIsMenu", "b", itemIsMenu, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Menu", "o", menu, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END};

StatusNotifierItem::StatusNotifierItem(sd_bus* bus, const char* menuPath,
                                       std::shared_ptr<NSImage> image)
    : bus_(bus), menuPath_(menuPath), name_(applicationName()), image_(std::move(image)) {
  sd_bus_slot* slot = nullptr;
  ::sd_bus_add_object_vtable(bus, &slot, kPath, kInterface, Properties::kTable, this);
  object_.reset(std::exchange(slot, nullptr));
  ::sd_bus_add_match(bus, &slot, kWatcherMatch, Properties::watcherChanged, this);
  watcherMatch_.reset(slot);
  registerWithWatcher();
}

std::vector<NSImage::Representation> StatusNotifierItem::pictures() const {
  return image_ ? image_->representations() : std::vector<NSImage::Representation>();
}

void StatusNotifierItem::registerWithWatcher() const {
  sd_bus_message* message = nullptr;
  if (::sd_bus_message_new_method_call(bus_, &message, kWatcher, kWatcherPath, kWatcher,
                                       "RegisterStatusNotifierItem") < 0) {
    return;
  }
  const BusMessage call(message);
  const char* ownName = nullptr;
  ::sd_bus_get_unique_name(bus_, &ownName);
  ::sd_bus_message_append(message, "s", ownName);
  ::sd_bus_message_set_auto_start(message, 0);
  ::sd_bus_message_set_expect_reply(message, 0);  // Whether there is a watcher shows later.
  ::sd_bus_message_send(message);
}

}  // namespace quorvel
