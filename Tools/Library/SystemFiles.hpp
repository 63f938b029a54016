// What the system tells in files, folders and links, as those of /proc and /sys, and how it writes
// numbers and names there.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The whole content of the file; none when it cannot be opened or read. `path` is taken relative
/// to the folder `directory`.
[[nodiscard]] std::optional<std::string> readSmallFile(const char* path, int directory = AT_FDCWD);

/// The same without the line feed at the end: one attribute of sysfs. Empty when there is none.
[[nodiscard]] std::string readAttribute(const char* path, int directory = AT_FDCWD);

/// The names in a folder without "." and "..", in no order; nothing when it cannot be read.
[[nodiscard]] std::vector<std::string> folderEntries(const std::string& path);

/// What the symbolic link says, which nobody follows; empty when there is none. What is mounted on
/// the path is not asked, as by the standard library: it may not answer.
[[nodiscard]] std::string linkTarget(const std::string& path);

/// What the kernel tells of where the path, taken as by statx(2), leads to: the type of the file,
/// its device, the number of its mount (`MountEntry::id`), whether it is a mount's root. All but
/// the way there is not asked of any file system: it may not answer. Where it leads nowhere, all is
/// 0, and the mount's number the highest that there is.
[[nodiscard]] struct statx placeOf(const char* path, int directory = AT_FDCWD, int flags = 0);

/// The printable path of a process's executable, or its name; empty when there is no such process.
[[nodiscard]] std::string programOf(pid_t pid);

/// `text` as a decimal number, nothing before or behind it; none otherwise.
template <typename Number>
[[nodiscard]] std::optional<Number> parseNumber(std::string_view text) {
  Number number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, number);
  return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

/// A device number as /proc and /sys write it: "8:17".
[[nodiscard]] std::optional<dev_t> parseDeviceNumber(std::string_view text);

/// `text` with the byte in place of each `mark` with `digits` digits of `base` behind it that stand
/// for one. What is not encoded so stays as it is.
[[nodiscard]] std::string decodeEscapes(std::string_view text, std::string_view mark,
                                        std::size_t digits, int base);

}  // namespace quorvel
