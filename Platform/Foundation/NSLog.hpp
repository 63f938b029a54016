// Messages to whoever looks after the process.
#pragma once

#include <string_view>

namespace quorvel {

/// Writes one line to standard error. Nothing is reported when that cannot be written. May be
/// called from any thread.
void NSLog(std::string_view message);

}  // namespace quorvel
