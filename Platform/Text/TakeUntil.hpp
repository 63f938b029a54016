// The one tokeniser.
#pragma once

#include <algorithm>
#include <string_view>

namespace quorvel {

/// Takes what stands before the first `separator` off `text`, and the separator with it; all of
/// `text` where there is none.
inline std::string_view takeUntil(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view token = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return token;
}

}  // namespace quorvel
