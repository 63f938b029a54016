// A menu as a person sees it in a terminal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/statusmenu/MenuClient.hpp"

namespace quorvel {

struct MenuRow {
  std::int32_t id = 0;
  std::string number;  ///< From "1"; empty for what cannot be chosen.
  std::string title;   ///< What would steer the terminal or turn its direction is shown as "?".
};

[[nodiscard]] std::vector<MenuRow> rowsOf(const std::vector<MenuEntry>& entries);

/// One row a line. What is disabled stands in parentheses.
[[nodiscard]] std::string listed(const std::vector<MenuRow>& rows);

/// The ids of the rows that can be chosen and have `wanted` as their number or title.
[[nodiscard]] std::vector<std::int32_t> matching(const std::vector<MenuRow>& rows,
                                                 std::string_view wanted);

}  // namespace quorvel
