// The diagnostic log of the current run.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/Foundation/NSDateFormatter.hpp"
#include "Platform/Foundation/NSFileHandle.hpp"
#include "Shared/CommandResult.hpp"

namespace quorvel {

/// One thing to be logged, as the line that describes it:
/// - a text: unchanged;
/// - a list of texts: ["one", "two"];
/// - what a command said: (result: "...", error: "...");
/// - a whole number: in decimal.
/// Texts in quotes have their quotes, backslashes and control characters escaped (\', \n, \u{1B}),
/// so that they stay on one line. It refers to the value, which has to outlive it.
class LogItem {
 public:
  // Callers write their values, not LogItems: all conversions are meant to be implicit.
  // NOLINTBEGIN(google-explicit-constructor)
  template <std::convertible_to<std::string_view> Text>
  LogItem(const Text& text) : value_(std::string_view(text)) {}
  LogItem(const std::vector<std::string>& texts) : value_(&texts) {}
  LogItem(const CommandResult& result) : value_(&result) {}
  LogItem(int number) : value_(number) {}
  // NOLINTEND(google-explicit-constructor)

  void appendTo(std::string& entry) const;

 private:
  std::variant<std::string_view, const std::vector<std::string>*, const CommandResult*, int> value_;
};

/// Writes entries to standard output and to "Quorvel_Helper.txt" in the user's home folder, which
/// begins anew with each run. An entry is a header line with the local time and the place of the
/// call, a line an item, and an empty line. May be used from any thread: entries are whole, and in
/// the order of their times. Nothing is ever reported to the caller: a file that cannot be opened
/// is not tried again, an entry that does not fit the disk is lost from the file.
class Console {
 public:
  static void log(std::initializer_list<LogItem> items, std::string_view file,
                  std::string_view function, std::uint_least32_t line);

 private:
  Console();  ///< With the first entry.
  static Console& shared();

  void writeToFile(std::string_view text);

  NSDateFormatter formatter;
  std::optional<NSFileHandle> fileHandle;
  std::mutex mutex_;
};

/// The log as one function sees it: `const FunctionLog log{"run()"};` at its beginning, then
/// `log({items})`. File and line are those of the call (through the built-ins of the compilers,
/// since not every tool that reads this code knows std::source_location yet).
class FunctionLog {
 public:
  /// The function's name with its parameter labels, as in "didChangeSelect(sender:)"; the text must
  /// outlive the function's run.
  explicit constexpr FunctionLog(std::string_view label) : label_(label) {}

  void operator()(std::initializer_list<LogItem> items, const char* file = __builtin_FILE(),
                  std::uint_least32_t line = __builtin_LINE()) const {
    Console::log(items, file, label_, line);
  }

 private:
  std::string_view label_;
};

}  // namespace quorvel
