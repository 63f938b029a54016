// What partition schemes, partition types and file systems are called in diskutil's output.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// The scheme's name ("GUID_partition_scheme") for libblkid's ("gpt"); empty for none.
[[nodiscard]] std::string schemeName(std::string_view tableType);

/// The name of a partition type: "Windows_NTFS" for "0x7" of a "dos" table, "Microsoft Basic Data"
/// for its GUID in a "gpt" one. A type that is not known is named by its own number or GUID.
[[nodiscard]] std::string partitionTypeName(std::string_view tableType, std::string_view type);

/// What a file system is called, by libblkid's name of it: "NTFS" for "ntfs". One that is not known
/// keeps that name.
[[nodiscard]] std::string personalityName(std::string_view fileSystem);

}  // namespace quorvel
