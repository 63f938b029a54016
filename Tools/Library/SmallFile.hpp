// Reading the small text files of /proc and /sys.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The whole content of the file; none when it cannot be opened or read. `path` is taken relative
/// to the folder `directory`.
[[nodiscard]] std::optional<std::string> readSmallFile(const char* path, int directory = AT_FDCWD);

/// The same without the line feed at the end: one attribute of sysfs. Empty when there is none.
[[nodiscard]] std::string readAttribute(const char* path, int directory = AT_FDCWD);

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
