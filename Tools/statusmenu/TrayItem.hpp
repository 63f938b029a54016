// Tray items on the session bus: naming one, finding its menu, listing all.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Tools/statusmenu/BusConnection.hpp"

namespace quorvel {

/// The agent's own item.
[[nodiscard]] BusAddress agentItem();

/// The item that "bus.name", "bus.name/path" or ":1.5/path" stands for. Throws UsageError.
[[nodiscard]] BusAddress itemFromText(std::string_view text);

/// Where the item's menu is. Throws a StatusError (noItem) when it has none.
[[nodiscard]] BusAddress menuOf(const BusConnection& bus, const BusAddress& item);

/// All items that are registered with the tray, as `itemFromText` takes them. Throws a StatusError
/// (noItem) when there is no tray.
[[nodiscard]] std::vector<std::string> registeredItems(const BusConnection& bus);

}  // namespace quorvel
