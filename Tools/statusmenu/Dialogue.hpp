// The menu at a terminal: shown, asked about, shown again.
#pragma once

#include "Tools/statusmenu/BusConnection.hpp"

namespace quorvel {

/// Opens the item's menu anew after every entry that was chosen, until the answer is empty or "q",
/// or the item ends after a choice (as it does after its entry to quit). Returns the exit status;
/// throws as OpenMenu does.
[[nodiscard]] int runDialogue(const BusConnection& bus, const BusAddress& item);

}  // namespace quorvel
