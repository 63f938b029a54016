#include "Tests/Support/Session.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace quorvel::test {
namespace {

constexpr const char* kAgent = "com.quorvel.Manager.Helper";
constexpr const char* kItemPath = "/StatusNotifierItem";
constexpr const char* kItemInterface = "org.kde.StatusNotifierItem";
constexpr const char* kMenuPath = "/MenuBar";
constexpr const char* kMenuInterface = "com.canonical.dbusmenu";
constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";

int noteSignal(sd_bus_message* /*signal*/, void* context, sd_bus_error* /*error*/) {
  *static_cast<bool*>(context) = true;
  return 0;
}

int registerItem(sd_bus_message* call, void* context, sd_bus_error* error) {
  noteSignal(call, context, error);
  return ::sd_bus_reply_method_return(call, "");
}

// NOLINTNEXTLINE(modernize-avoid-c-arrays): what sd-bus takes.
const sd_bus_vtable kWatcherTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("RegisterStatusNotifierItem", "s", "", registerItem, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

template <typename... Arguments>
BusMessage callMenu(sd_bus* bus, const char* member, const char* types, Arguments... arguments) {
  sd_bus_message* reply = nullptr;
  EXPECT_GE(::sd_bus_call_method(bus, kAgent, kMenuPath, kMenuInterface, member, nullptr, &reply,
                                 types, arguments...),
            0)
      << member;
  return BusMessage(reply);
}

void readProperty(sd_bus_message* reply, MenuEntry& entry) {
  const char* name = nullptr;
  ::sd_bus_message_read(reply, "s", &name);
  const std::string_view property(name);
  const char* text = nullptr;
  int truth = 0;
  if (property == "label" && ::sd_bus_message_read(reply, "v", "s", &text) > 0) {
    entry.label = text;
  } else if (property == "enabled" && ::sd_bus_message_read(reply, "v", "b", &truth) > 0) {
    entry.isEnabled = truth != 0;
  } else if (property == "toggle-state") {
    ::sd_bus_message_read(reply, "v", "i", &entry.state);
  } else if (property == "toggle-type" && ::sd_bus_message_read(reply, "v", "s", &text) > 0) {
    entry.hasCheckMark = std::string_view(text) == "checkmark";
  } else if (property == "type" && ::sd_bus_message_read(reply, "v", "s", &text) > 0) {
    entry.isSeparator = std::string_view(text) == "separator";
  } else {
    ::sd_bus_message_skip(reply, "v");
  }
}

/// Reads (ia{sv}av); the children go to `children`.
MenuEntry readNode(sd_bus_message* reply, std::vector<MenuEntry>* children) {
  MenuEntry entry;
  ::sd_bus_message_enter_container(reply, SD_BUS_TYPE_STRUCT, "ia{sv}av");
  ::sd_bus_message_read(reply, "i", &entry.id);
  ::sd_bus_message_enter_container(reply, SD_BUS_TYPE_ARRAY, "{sv}");
  while (::sd_bus_message_enter_container(reply, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
    readProperty(reply, entry);
    ::sd_bus_message_exit_container(reply);
  }
  ::sd_bus_message_exit_container(reply);
  ::sd_bus_message_enter_container(reply, SD_BUS_TYPE_ARRAY, "v");
  while (::sd_bus_message_enter_container(reply, SD_BUS_TYPE_VARIANT, "(ia{sv}av)") > 0) {
    children->push_back(readNode(reply, children));
    ::sd_bus_message_exit_container(reply);
  }
  ::sd_bus_message_exit_container(reply);
  ::sd_bus_message_exit_container(reply);
  return entry;
}

}  // namespace

Session::Session() { begin(); }
Session::~Session() { end(); }

void Session::begin() {
  const std::string address = "unix:path=" + (folder_ / "bus").string();
  setEnvironment("DBUS_SESSION_BUS_ADDRESS", address);
  daemon_.emplace(*ChildProcess::start(
      {.path = "/usr/bin/dbus-daemon",
       .arguments = {"--session", "--nofork", "--nopidfile", "--address=" + address},
       .directory = {}}));
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(folder_ / "bus"); }));
}

void Session::end() {
  if (daemon_) {
    daemon_->terminate();
    daemon_->wait();
    daemon_.reset();
    std::filesystem::remove(folder_ / "bus");  // Its absence tells that nobody listens.
  }
}

Panel::Panel() {
  sd_bus* bus = nullptr;
  EXPECT_GE(::sd_bus_open_user(&bus), 0);
  bus_.reset(bus);
  sd_bus_slot* slot = nullptr;
  ::sd_bus_match_signal(bus, &slot, kAgent, kMenuPath, kMenuInterface, "LayoutUpdated", noteSignal,
                        &isLayoutAnnounced_);
  layoutMatch_.reset(slot);
}

bool Panel::watchesAnItemRegister() {
  sd_bus_slot* slot = nullptr;
  ::sd_bus_add_object_vtable(bus_.get(), &slot, "/StatusNotifierWatcher", kWatcher, kWatcherTable,
                             &hasItem_);
  watcher_.reset(slot);
  EXPECT_GE(::sd_bus_request_name(bus_.get(), kWatcher, 0), 0);
  return eventually([&] {
    handleWhatHasCome();
    return hasItem_;
  });
}

void Panel::handleWhatHasCome() const {
  while (::sd_bus_process(bus_.get(), nullptr) > 0) {
  }
}

bool Panel::seesAgent() const {
  return eventually([&] {
    return ::sd_bus_call_method(bus_.get(), kAgent, kItemPath, "org.freedesktop.DBus.Properties",
                                "Get", nullptr, nullptr, "ss", kItemInterface, "Id") >= 0;
  });
}

bool Panel::aboutToShow() const {
  int isNew = 0;
  const BusMessage reply = callMenu(bus_.get(), "AboutToShow", "i", 0);
  ::sd_bus_message_read(reply.get(), "b", &isNew);
  return isNew != 0;
}

bool Panel::announceShowing() {
  isLayoutAnnounced_ = false;
  sd_bus_message* message = nullptr;
  ::sd_bus_message_new_method_call(bus_.get(), &message, kAgent, kMenuPath, kMenuInterface,
                                   "AboutToShowGroup");
  const BusMessage call(message);
  ::sd_bus_message_append(message, "ai", 1, 0);
  ::sd_bus_message_set_expect_reply(message, 0);
  ::sd_bus_message_send(message);
  static_cast<void>(layout());  // Behind its answer no signal is under way any more.
  handleWhatHasCome();
  return isLayoutAnnounced_;
}

std::vector<MenuEntry> Panel::layout() const {
  const BusMessage reply = callMenu(bus_.get(), "GetLayout", "iias", 0, -1, 0);
  std::vector<MenuEntry> entries;
  ::sd_bus_message_skip(reply.get(), "u");
  readNode(reply.get(), &entries);
  return entries;
}

std::vector<std::string> Panel::openMenu() const {
  static_cast<void>(aboutToShow());
  std::vector<std::string> lines;
  for (const MenuEntry& entry : layout()) {
    const std::string label = entry.isEnabled ? entry.label : "(" + entry.label + ")";
    lines.push_back(entry.isSeparator ? "-" : label);
  }
  return lines;
}

void Panel::sendEvent(std::int32_t id, const char* type) const {
  callMenu(bus_.get(), "Event", "isvu", id, type, "i", 0, 0);
}

void Panel::choose(std::string_view label) const {
  const auto entries = layout();
  const auto entry = std::find_if(entries.begin(), entries.end(),
                                  [&](const MenuEntry& each) { return each.label == label; });
  ASSERT_NE(entry, entries.end()) << label;
  sendEvent(entry->id, "clicked");
}

}  // namespace quorvel::test
