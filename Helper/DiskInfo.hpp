// What the output of the disk tools says. Everything here is pure: text in, texts out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What stands between "Volume Name:" and the name in what is said of a disk.
inline constexpr std::string_view valueIndent = "               ";

/// The identifiers that a disk listing shows: the last word of every row, where it begins with
/// "disk". In row order, repetitions included.
[[nodiscard]] std::vector<std::string> parseDiskList(std::string_view output);

/// The first word of every row of a mount listing, in row order; for a mounted partition that is
/// its device node.
[[nodiscard]] std::vector<std::string> parseMountList(std::string_view output);

/// Whether a row holds one of the three values that the agent wants to know of a volume: its name,
/// whether it is mounted, and its file-system personality.
[[nodiscard]] bool isDiskInfoField(std::string_view row);

/// The values of the wanted rows, in row order: what follows the last colon, without any run of
/// `valueIndent`. Other blanks stay. There are three for a volume; never is one guessed.
[[nodiscard]] std::vector<std::string> parseDiskInfo(std::string_view output);

}  // namespace quorvel
