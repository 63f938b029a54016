// Whole contents from and to a descriptor.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Appends what can be read from the descriptor now, waiting until there is something. False, with
/// errno set, when reading fails, and with 0 at the end.
[[nodiscard]] bool readSome(int descriptor, std::string& content);

/// What can be read from the descriptor until its end. None with errno set when reading fails, and
/// with EFBIG when there are more than `limit` bytes.
[[nodiscard]] std::optional<std::string> readAll(int descriptor, std::size_t limit);

/// How many of the bytes were written: all, or errno tells why not. Waits for room also where the
/// descriptor does not, as when another program has set a terminal so.
[[nodiscard]] std::size_t writeAll(int descriptor, std::string_view bytes);

}  // namespace quorvel
