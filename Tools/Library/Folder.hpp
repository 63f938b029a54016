// Listing a folder.
#pragma once

#include <fcntl.h>

#include <string>
#include <vector>

namespace quorvel {

/// The names in a folder without "." and "..", in no order; nothing when it cannot be read. `path`
/// is taken relative to the folder `directory`.
[[nodiscard]] std::vector<std::string> folderEntries(const char* path, int directory = AT_FDCWD);

}  // namespace quorvel
