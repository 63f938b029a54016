// What partition schemes, partition types and file systems are called in diskutil's output.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// The name for libblkid's: "GUID_partition_scheme" for "gpt", "Windows_NTFS" for "0x7", "Microsoft
/// Basic Data" for its GUID, "NTFS" for "ntfs". What is not known keeps libblkid's name.
[[nodiscard]] std::string shownName(std::string_view name);

}  // namespace quorvel
