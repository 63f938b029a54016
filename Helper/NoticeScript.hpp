// What the agent does when the main application has finished its work on a volume.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The command lines that answer a notice with this object: a verb and what the main application
/// calls the volume, joined by one comma. None where it is not these two fields; no lines for a
/// verb other than "add" and "remove". Whatever stands in the object is at most a word of a line.
[[nodiscard]] std::optional<std::string> scriptForNotice(std::string_view object);

}  // namespace quorvel
