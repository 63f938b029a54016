// A message that somebody posted.
#pragma once

#include <optional>
#include <string>

namespace quorvel {

struct NSNotification {
  std::optional<std::string> object;  ///< UTF-8; none when it had no object or one that is no text.
};

}  // namespace quorvel
