// Listing a folder, and following a link.
#pragma once

#include <string>
#include <vector>

namespace quorvel {

/// The names in a folder without "." and "..", in no order; nothing when it cannot be read.
[[nodiscard]] std::vector<std::string> folderEntries(const std::string& path);

/// The same for an open folder; O_PATH is enough.
[[nodiscard]] std::vector<std::string> folderEntries(int folder);

/// What the symbolic link says, which nobody follows; empty when there is none. What is mounted on
/// the path is not asked, as by the standard library: it may not answer.
[[nodiscard]] std::string linkTarget(const std::string& path);

}  // namespace quorvel
