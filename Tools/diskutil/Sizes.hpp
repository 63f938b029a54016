// Sizes as diskutil prints them: decimal units.
#pragma once

#include <cstdint>
#include <string>

namespace quorvel {

/// "500.3 GB", "64.0 MB", "512 B"
[[nodiscard]] std::string shortSize(std::uint64_t bytes);

}  // namespace quorvel
