// Sizes as diskutil prints them: decimal units.
#pragma once

#include <cstdint>
#include <string>

namespace quorvel {

/// "500.3 GB", "64.0 MB", "512 B"
[[nodiscard]] std::string shortSize(std::uint64_t bytes);

/// "64.0 MB (64000000 Bytes) (exactly 125000 512-Byte-Units)"
[[nodiscard]] std::string longSize(std::uint64_t bytes);

}  // namespace quorvel
