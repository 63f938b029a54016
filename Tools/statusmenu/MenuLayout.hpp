// The tree of entries that a menu hands out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Tools/statusmenu/BusConnection.hpp"

namespace quorvel {

/// One entry as the protocol describes it, with the protocol's defaults for what is left out.
struct MenuEntry {
  std::int32_t id = 0;
  std::string label;       ///< With its mnemonic marks, as it came.
  std::string type;        ///< "separator", or anything else for an entry.
  std::string toggleType;  ///< Empty for an entry that is never ticked.
  std::int32_t toggleState = -1;
  std::string childrenDisplay;  ///< "submenu" where a menu opens beside the entry.
  bool isEnabled = true;
  bool isVisible = true;
  std::vector<MenuEntry> children;
};

/// The root of the tree in a reply to GetLayout. A property of the wrong type counts as left out.
/// Throws ToolError when the reply is not one.
[[nodiscard]] MenuEntry readLayout(const BusMessage& reply);

}  // namespace quorvel
