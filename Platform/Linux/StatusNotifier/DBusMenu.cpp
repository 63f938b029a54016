#include "Platform/Linux/StatusNotifier/DBusMenu.hpp"

#include <utility>

#include "Platform/AppKit/NSApplication.hpp"

namespace quorvel {
namespace {

constexpr const char* kInterface = "com.canonical.dbusmenu";
// What sd-bus reads by itself: the last version without calls on groups, which no host needs.
const std::uint32_t kVersion = 2;

constexpr std::uint64_t kConstant = SD_BUS_VTABLE_PROPERTY_CONST | SD_BUS_VTABLE_ABSOLUTE_OFFSET;
constexpr std::uint64_t kForEverybody = SD_BUS_VTABLE_UNPRIVILEGED;

std::vector<std::int32_t> readIds(sd_bus_message* call) {
  std::vector<std::int32_t> ids;
  std::int32_t id = 0;
  ::sd_bus_message_enter_container(call, SD_BUS_TYPE_ARRAY, "i");
  while (::sd_bus_message_read(call, "i", &id) > 0) {
    ids.push_back(id);
  }
  return ids;
}

/// In a label "_" marks a shortcut, so each is doubled.
std::string menuLabel(std::string_view title) {
  std::string label;
  for (const char character : busText(title)) {
    label.append(character == '_' ? 2 : 1, character);
  }
  return label;
}

/// All properties of a row, whichever a host has asked for; `item` is null for the menu itself.
/// Nothing is left to a host's defaults: some forget to go back to them.
void appendProperties(sd_bus_message* reply, const NSMenuItem* item) {
  if (item == nullptr) {
    ::sd_bus_message_append(reply, "a{sv}", 1, "children-display", "s", "submenu");
  } else if (item->isSeparatorItem()) {
    ::sd_bus_message_append(reply, "a{sv}", 2, "visible", "b", 1, "type", "s", "separator");
  } else {
    ::sd_bus_message_append(reply, "a{sv}", 3, "visible", "b", 1, "label", "s",
                            menuLabel(item->title()).c_str(), "enabled", "b",
                            static_cast<int>(!item->action().empty()));
  }
}

BusMessage replyTo(sd_bus_message* call) {
  sd_bus_message* reply = nullptr;
  ::sd_bus_message_new_method_return(call, &reply);
  return BusMessage(reply);
}

int send(const BusMessage& reply) { return ::sd_bus_message_send(reply.get()); }

}  // namespace

struct DBusMenu::Methods {
  static int getLayout(DBusMenu& menu, sd_bus_message* call) {
    std::int32_t parent = 0;
    ::sd_bus_message_read(call, "i", &parent);  // Its children have none, however deep one asks.
    if (parent != kRootId && !menu.layout_.item(parent)) {
      return ::sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "No such entry");
    }
    const BusMessage reply = replyTo(call);
    ::sd_bus_message_append(reply.get(), "u", menu.layout_.revision());
    menu.appendLayout(reply.get(), parent);
    return send(reply);
  }

  static int getGroupProperties(const DBusMenu& menu, sd_bus_message* call) {
    auto ids = readIds(call);
    const MenuLayout& layout = menu.layout_;
    if (ids.empty()) {
      ids.push_back(kRootId);
      for (const auto& row : layout.rows()) {
        ids.push_back(row.id);
      }
    }
    const BusMessage reply = replyTo(call);
    ::sd_bus_message_open_container(reply.get(), SD_BUS_TYPE_ARRAY, "(ia{sv})");
    for (const std::int32_t id : ids) {
      const auto item = layout.item(id);
      if (id == kRootId || item) {
        ::sd_bus_message_open_container(reply.get(), SD_BUS_TYPE_STRUCT, "ia{sv}");
        ::sd_bus_message_append(reply.get(), "i", id);
        appendProperties(reply.get(), item.get());
        ::sd_bus_message_close_container(reply.get());
      }
    }
    ::sd_bus_message_close_container(reply.get());
    return send(reply);
  }

  static int event(DBusMenu& menu, sd_bus_message* call) {
    std::int32_t id = 0;
    const char* text = nullptr;
    ::sd_bus_message_read(call, "is", &id, &text);
    const std::string_view type = text;
    const char* const host = ::sd_bus_message_get_sender(call);
    if (type == "opened" && id == kRootId) {
      menu.tracker_.opened(host);
    } else if (type == "closed" && id == kRootId) {
      menu.tracker_.closed(host);
    } else if (type == "clicked") {
      menu.tracker_.closed(host);
      menu.choose(id);
    }
    return ::sd_bus_reply_method_return(call, "");
  }

  // Hosts that wait for the answer fetch the layout when it is true, and one of them closes its
  // menu when it gets the signal as well; hosts that do not wait know only the signal.
  static int aboutToShow(DBusMenu& menu, sd_bus_message* call) {
    menu.tracker_.aboutToShow();
    menu.update();
    if (::sd_bus_message_get_expect_reply(call) <= 0) {
      menu.announceLayout();
    }
    return ::sd_bus_reply_method_return(call, "b", 1);
  }

  static int eventsHandled(sd_event_source* /*source*/, void* context) {
    performGuarded([&menu = *static_cast<DBusMenu*>(context)] {
      if (!menu.tracker_.mayBeShown()) {
        menu.update();
        menu.announceLayout();
      }
    });
    return 0;
  }

  static const sd_bus_vtable kTable[];  // NOLINT(modernize-avoid-c-arrays): what sd-bus takes.
};

// NOLINTNEXTLINE(modernize-avoid-c-arrays)
const sd_bus_vtable DBusMenu::Methods::kTable[] = {
    SD_BUS_VTABLE_START(0),
    // NOLINTNEXTLINE(*-reinterpret-cast)
    SD_BUS_PROPERTY("Version", "u", nullptr, reinterpret_cast<std::size_t>(&kVersion), kConstant),
    SD_BUS_METHOD("GetLayout", "iias", "u(ia{sv}av)", busHandler<getLayout>, kForEverybody),
    SD_BUS_METHOD("GetGroupProperties", "aias", "a(ia{sv})", busHandler<getGroupProperties>,
                  kForEverybody),
    SD_BUS_METHOD("Event", "isvu", "", busHandler<event>, kForEverybody),
    SD_BUS_METHOD("AboutToShow", "i", "b", busHandler<aboutToShow>, kForEverybody),
    SD_BUS_SIGNAL("LayoutUpdated", "ui", 0), SD_BUS_VTABLE_END};

DBusMenu::DBusMenu(sd_bus* bus, std::shared_ptr<NSMenu> menu)
    : bus_(bus), menu_(std::move(menu)), tracker_(bus) {
  update();  // For hosts that ask for the layout before they show it.
  announced_ = layout_.revision();
  sd_bus_slot* slot = nullptr;
  checkBus("serve the menu",
           ::sd_bus_add_object_vtable(bus, &slot, kPath, kInterface, Methods::kTable, this));
  object_.reset(slot);
  sd_event_source* source = nullptr;
  ::sd_event_add_post(mainEventLoop(), &source, Methods::eventsHandled, this);
  ::sd_event_source_set_description(source, "menu that nobody looks at");
  afterEvents_.reset(source);
}

void DBusMenu::update() {
  if (menu_->delegate() != nullptr) {
    menu_->delegate()->menuNeedsUpdate(*menu_);
  }
  layout_.update(menu_->itemArray());
}

void DBusMenu::announceLayout() {
  if (std::exchange(announced_, layout_.revision()) == layout_.revision()) {
    return;
  }
  checkBus("announce the menu", ::sd_bus_emit_signal(bus_, kPath, kInterface, "LayoutUpdated", "ui",
                                                     layout_.revision(), kRootId));
}

void DBusMenu::appendLayout(sd_bus_message* reply, std::int32_t parent) const {
  ::sd_bus_message_open_container(reply, SD_BUS_TYPE_STRUCT, "ia{sv}av");
  ::sd_bus_message_append(reply, "i", parent);
  appendProperties(reply, layout_.item(parent).get());
  ::sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "v");
  if (parent == kRootId) {
    for (const auto& row : layout_.rows()) {
      ::sd_bus_message_open_container(reply, SD_BUS_TYPE_VARIANT, "(ia{sv}av)");
      appendLayout(reply, row.id);
      ::sd_bus_message_close_container(reply);
    }
  }
  ::sd_bus_message_close_container(reply);
  ::sd_bus_message_close_container(reply);
}

void DBusMenu::choose(std::int32_t id) {
  if (const auto item = layout_.item(id)) {
    performLater([bus = bus_, item] {
      flushBus(bus);  // The host has its answer before the action, which may take long.
      NSApplication::sharedApplication().sendAction(*item);
    });
  }
}

}  // namespace quorvel
