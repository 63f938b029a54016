// How partition schemes, partition types, file systems and sizes are called in diskutil's output.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorvel {

/// The name for libblkid's: "GUID_partition_scheme" for "gpt", "Windows_NTFS" for "0x7", "Microsoft
/// Basic Data" for its GUID, "NTFS" for "ntfs". What is not known keeps libblkid's name.
[[nodiscard]] std::string shownName(std::string_view name);

/// In decimal units: "500.3 GB", "64.0 MB", "512 B"
[[nodiscard]] std::string shortSize(std::uint64_t bytes);

}  // namespace quorvel
