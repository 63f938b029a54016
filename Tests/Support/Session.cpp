#include "Tests/Support/Session.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "Shared/Script.hpp"

namespace quorvel::test {
namespace {

constexpr const char* kItemPath = "/StatusNotifierItem";
constexpr const char* kItemInterface = "org.kde.StatusNotifierItem";
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
  EXPECT_TRUE(eventually([] { return openSessionBus() != nullptr; }));
}

void Session::end() {
  if (daemon_) {
    daemon_->terminate();
    daemon_->wait();
    daemon_.reset();
    std::filesystem::remove(folder_ / "bus");  // Its absence tells that nobody listens.
  }
}

void Session::signal(const std::string& option) const {
  Script::run("/usr/bin/pkill", std::nullopt,
              {option, "-f", "address=.*" + folder_.path().string()});
}

Panel::Panel() {
  sd_bus_slot* slot = nullptr;
  ::sd_bus_match_signal(bus_, &slot, kAgentName, kMenuPath, kMenuInterface, "LayoutUpdated",
                        noteSignal, &isLayoutAnnounced_);
  layoutMatch_.reset(slot);
}

bool Panel::watchesAnItemRegister() {
  sd_bus_slot* slot = nullptr;
  ::sd_bus_add_object_vtable(bus_, &slot, "/StatusNotifierWatcher", kWatcher, kWatcherTable,
                             &hasItem_);
  watcher_.reset(slot);
  EXPECT_GE(::sd_bus_request_name(bus_, kWatcher, 0), 0);
  return eventually([&] {
    handleWhatHasCome();
    return hasItem_;
  });
}

void Panel::handleWhatHasCome() const {
  while (::sd_bus_process(bus_, nullptr) > 0) {
  }
}

bool Panel::seesAgent() const {
  return eventually([&] {
    return ::sd_bus_call_method(bus_, kAgentName, kItemPath, "org.freedesktop.DBus.Properties",
                                "Get", nullptr, nullptr, "ss", kItemInterface, "Id") >= 0;
  });
}

const MenuClient& Panel::menu() const {
  EXPECT_TRUE(seesAgent());
  return menu_;
}

bool Panel::isToldOfALayout() {
  handleWhatHasCome();
  return std::exchange(isLayoutAnnounced_, false);
}

bool Panel::announceShowing() {
  isLayoutAnnounced_ = false;
  ::sd_bus_call_method_async(bus_, nullptr, kAgentName, kMenuPath, kMenuInterface, "AboutToShow",
                             nullptr, nullptr, "i", 0);
  static_cast<void>(layout());  // Behind its answer no signal is under way any more.
  return isToldOfALayout();
}

std::vector<MenuEntry> Panel::layout() const { return entriesOf(menu().layout()); }

std::vector<std::string> Panel::openMenu() const {
  static_cast<void>(menu().aboutToShow());
  std::vector<std::string> lines;
  for (const MenuEntry& entry : layout()) {
    const std::string label = entry.isEnabled ? entry.label : "(" + entry.label + ")";
    lines.push_back(entry.isSeparator ? "-" : label);
  }
  return lines;
}

bool Panel::shows(std::string_view first) const {
  return eventually([&] { return openMenu().front() == first; });
}

void Panel::sendEvent(std::int32_t id, const char* type) const { menu_.sendEvent(id, type); }

void Panel::choose(std::string_view label) const {
  const auto entries = layout();
  const auto entry = std::find_if(entries.begin(), entries.end(),
                                  [&](const MenuEntry& each) { return each.label == label; });
  ASSERT_NE(entry, entries.end()) << label;
  sendEvent(entry->id, "clicked");
}

}  // namespace quorvel::test
