// The properties of a menu's rows, as they go over the bus.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/AppKit/NSMenuItem.hpp"
#include "Platform/Linux/Support/BusObjects.hpp"

namespace quorvel {

/// A title as hosts want it: in a label "_" marks a shortcut, so each is doubled.
[[nodiscard]] std::string menuLabel(std::string_view title);

/// Appends the a{sv} of one row, `item` null for the menu itself; of its properties only those that
/// `names` lists, all when it is empty. Nothing is left to a host's defaults: some forget to go
/// back to them.
void appendMenuProperties(sd_bus_message* message, const NSMenuItem* item,
                          const std::vector<std::string>& names);

}  // namespace quorvel
