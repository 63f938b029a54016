// The settings store.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Reads one suite of settings. Nothing is cached: every call reads the store again, so a change
/// shows at the next call. A store that is missing, cut short, foreign or unreadable reads as
/// empty. May be used from any thread.
class NSUserDefaults {
 public:
  explicit NSUserDefaults(std::string_view suiteName);

  /// The bytes stored under `key`; none when there are none or the value is of another type.
  [[nodiscard]] std::optional<std::string> dataForKey(std::string_view key) const;
  /// The value under `key` as a truth value: a number is true unless it is zero; a text is true
  /// when it begins (after blanks, a sign and zeros) with Y, y, T, t or a digit from 1 to 9;
  /// anything else, and nothing, is false.
  [[nodiscard]] bool boolForKey(std::string_view key) const;
  /// Whether other users than the owner may read the file that keeps the suite.
  [[nodiscard]] bool isReadableByOthers() const;
  /// The file that keeps the suite.
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace quorvel
