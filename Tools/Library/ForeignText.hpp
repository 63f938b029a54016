// Text that others wrote, made fit to be shown and to be a name. A label was written by whoever
// formatted the stick; nothing in it may be trusted.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// `text` with "?" for every control character (C0, DEL, C1), separator of lines and control of the
/// writing direction, and for every byte that is no valid UTF-8: safe to print in one row.
[[nodiscard]] std::string printable(std::string_view text);

/// The name that a volume with this label has everywhere: printable, "/" as ":", "Untitled" when
/// nothing is left, and always usable as one component of a path (at most 255 bytes; neither it nor
/// a part of it between colons is "." or "..").
[[nodiscard]] std::string volumeName(std::string_view label);

/// The name to take when `name` and all lower numbers are taken: "NAME 1", "NAME 2"; `name` itself
/// for 0. Shortens the name so that the result still is one component of a path.
[[nodiscard]] std::string numberedName(std::string_view name, unsigned number);

/// The blanks that a valid UTF-8 text lacks to fill a column of so many characters (code points).
[[nodiscard]] std::string padding(std::string_view text, std::size_t width);

}  // namespace quorvel
