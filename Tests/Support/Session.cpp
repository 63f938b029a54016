#include "Tests/Support/Session.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "Shared/Script.hpp"

namespace quorvel::test {
namespace {

int noteMember(sd_bus_message* message, void* received, sd_bus_error* /*error*/) {
  if (const char* const member = ::sd_bus_message_get_member(message); member != nullptr) {
    static_cast<std::set<std::string>*>(received)->insert(member);
  }
  return 0;
}

}  // namespace

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
  ::sd_bus_add_filter(bus_, nullptr, noteMember, &received_);
  ::sd_bus_match_signal(bus_, nullptr, kAgentName, kMenuPath, kMenuInterface, "LayoutUpdated",
                        noteMember, &received_);
  ::sd_bus_request_name(bus_, "org.kde.StatusNotifierWatcher", SD_BUS_NAME_QUEUE);
}

bool Panel::gets(const std::string& member) {
  while (::sd_bus_process(bus_, nullptr) > 0) {
  }
  return received_.erase(member) > 0;
}

const MenuClient& Panel::menu() const {
  EXPECT_TRUE(eventually([&] {
    return ::sd_bus_call_method(bus_, kAgentName, "/StatusNotifierItem",
                                "org.freedesktop.DBus.Properties", "Get", nullptr, nullptr, "ss",
                                "org.kde.StatusNotifierItem", "Id") >= 0;
  }));
  return menu_;
}

bool Panel::announceShowing() {
  static_cast<void>(gets("LayoutUpdated"));
  ::sd_bus_call_method_async(bus_, nullptr, kAgentName, kMenuPath, kMenuInterface, "AboutToShow",
                             nullptr, nullptr, "i", 0);
  static_cast<void>(layout());  // Behind its answer no signal is under way any more.
  return gets("LayoutUpdated");
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

bool Panel::shows(const std::string& entries) const {
  std::string seen;
  const bool itDoes = eventually([&] {
    seen.clear();
    for (const std::string& line : openMenu()) {
      seen += line + ", ";
    }
    return seen.starts_with(entries + ", ");
  });
  EXPECT_TRUE(itDoes) << "the menu is " << seen;
  return itDoes;
}

void Panel::choose(std::string_view label) const {
  const auto entries = layout();
  const auto entry = std::ranges::find(entries, label, &MenuEntry::label);
  ASSERT_NE(entry, entries.end()) << label;
  sendEvent(entry->id, "clicked");
}

}  // namespace quorvel::test
