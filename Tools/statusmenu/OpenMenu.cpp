#include "Tools/statusmenu/OpenMenu.hpp"

#include <chrono>
#include <exception>
#include <utility>

#include "Tools/statusmenu/TrayItem.hpp"

namespace quorvel {
namespace {

constexpr const char* kMenuInterface = "com.canonical.dbusmenu";
constexpr std::int32_t kRoot = 0;
constexpr std::int32_t kAllLevels = -1;

// Panels send the time of the key or the click; the item learns only which came later.
std::uint32_t timestamp() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace

OpenMenu::OpenMenu(const BusConnection& bus, const BusAddress& item)
    : bus_(bus), menu_(menuOf(bus, item)) {}

OpenMenu::~OpenMenu() {
  try {
    close();
  } catch (const std::exception&) {
    // Then the item learns it from the end of our connection.
  }
}

MenuEntry OpenMenu::open() {
  isOpen_ = true;
  const BusMessage aboutToShow = bus_.newCall(menu_, kMenuInterface, "AboutToShow");
  requireMessage(::sd_bus_message_append(aboutToShow.get(), "i", kRoot));
  // The layout is fetched in any case: neither the answer nor a complaint matters.
  static_cast<void>(bus_.tryCall(aboutToShow));
  bus_.post(event(kRoot, "opened"));
  const BusMessage getLayout = bus_.newCall(menu_, kMenuInterface, "GetLayout");
  requireMessage(::sd_bus_message_append(getLayout.get(), "iias", kRoot, kAllLevels, 0));
  return readLayout(bus_.call(getLayout));
}

void OpenMenu::close() {
  if (std::exchange(isOpen_, false)) {
    bus_.post(event(kRoot, "closed"));
  }
}

void OpenMenu::choose(std::int32_t id) const { static_cast<void>(bus_.call(event(id, "clicked"))); }

BusMessage OpenMenu::event(std::int32_t id, const char* kind) const {
  BusMessage message = bus_.newCall(menu_, kMenuInterface, "Event");
  requireMessage(
      ::sd_bus_message_append(message.get(), "isvu", id, kind, "i", std::int32_t{0}, timestamp()));
  return message;
}

}  // namespace quorvel
