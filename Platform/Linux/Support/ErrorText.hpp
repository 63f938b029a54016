// The one place that turns errno into words.
#pragma once

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

namespace quorvel {

/// `context`, a colon, and what the system calls `error` ("open /x: Permission denied").
/// May be called from any thread.
[[nodiscard]] inline std::string errorText(std::string_view context, int error = errno) {
  return std::string(context) + ": " + std::generic_category().message(error);
}

}  // namespace quorvel
