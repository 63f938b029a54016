// The rows that a menu is shown as, and choosing one of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/statusmenu/MenuLayout.hpp"

namespace quorvel {

struct MenuRow {
  std::int32_t id = 0;
  std::string title;    ///< Fit for a terminal; empty for a separator.
  unsigned number = 0;  ///< From 1; 0 for a row that cannot be chosen.
  unsigned depth = 0;   ///< 0 for the menu itself, 1 for a submenu of it.
  bool isSeparator = false;
  bool isEnabled = true;
  bool isToggle = false;
  bool isTicked = false;
};

/// The visible entries below `root`, a submenu's right after the entry that opens it. Of a submenu
/// that is not enabled no entry is.
[[nodiscard]] std::vector<MenuRow> rowsOf(const MenuEntry& root);

/// The row that is titled `wanted`, else the one with that number, else the only one whose title
/// starts like that. Throws a StatusError (noEntry) when there is none or more than one, and when
/// the row cannot be chosen.
[[nodiscard]] const MenuRow& findRow(const std::vector<MenuRow>& rows, std::string_view wanted);

}  // namespace quorvel
