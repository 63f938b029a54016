// A menu as text.
#pragma once

#include <string>
#include <vector>

#include "Tools/statusmenu/MenuRows.hpp"

namespace quorvel {

/// Whether standard output takes escape sequences: a terminal, and NO_COLOR is unset.
[[nodiscard]] bool isStyled();

/// The rows with their numbers and ticks, one a line. Disabled ones are dimmed when `styled`, else
/// in parentheses.
[[nodiscard]] std::string menuText(const std::vector<MenuRow>& rows, bool styled);

}  // namespace quorvel
