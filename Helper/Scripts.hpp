// Every text that the agent gives to the shell, those that end up in front of root among them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

// What comes from elsewhere, a volume's name above all, is a word of its line and nothing else.

/// Lists disks and partitions, without the rows that the agent must not see.
inline constexpr std::string_view listScript = "diskutil list | grep -v 'APFS'";
/// Lists what is mounted where.
inline constexpr std::string_view mountListScript = "df -h";

/// Asks what a disk or partition is.
[[nodiscard]] std::string infoScript(std::string_view ID);

/// Has the system unmount a volume, whoever mounted it.
[[nodiscard]] std::string umountScript(std::string_view ID);

/// Takes a volume over from the system: unmounts it, makes its mount directory, mounts it there.
[[nodiscard]] std::string takeOverScript(std::string_view ID, std::string_view directory,
                                         std::string_view password);

/// Deletes a mount directory, which the caller has found empty.
[[nodiscard]] std::string removalScript(std::string_view directory, std::string_view password);

/// The same, and has the system mount the volume by its own rules.
[[nodiscard]] std::string giveBackScript(std::string_view ID, std::string_view directory,
                                         std::string_view password);

/// Opens the folder of a volume of this name below /Volumes.
[[nodiscard]] std::string openScript(std::string_view name);

/// What answers a notice of the main application with this object: a verb and what the main
/// application calls the volume, joined by one comma. None where it is not these two fields; no
/// lines for a verb other than "add" and "remove". A blank may part what the volume is called into
/// several words, as it may in the main application's own commands.
[[nodiscard]] std::optional<std::string> noticeScript(std::string_view object);

}  // namespace quorvel
