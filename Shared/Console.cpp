#include "Shared/Console.hpp"

#include <algorithm>

#include "Platform/Foundation/NSFileManager.hpp"
#include "Platform/Foundation/NSPathUtilities.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kLogFileName = "/Quorvel_Helper.txt";
constexpr std::size_t kUsualSize = 256;  ///< Of an entry, so that it need not grow.

/// What an entry has for a character that does not stand for itself.
std::string escaped(char character) {
  constexpr std::string_view kNamed("\\\"'\n\r\t\0", 7);
  constexpr std::string_view kNames = "\\\"'nrt0";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  if (const auto at = kNamed.find(character); at != std::string_view::npos) {
    return {'\\', kNames[at]};
  }
  const auto code = static_cast<unsigned char>(character);
  return {'\\', 'u', '{', kDigits[code / kDigits.size()], kDigits[code % kDigits.size()], '}'};
}

bool standsForItself(char character) {
  constexpr char kDelete = 0x7F;
  return static_cast<unsigned char>(character) >= ' ' && character != kDelete &&
         character != '\\' && character != '"' && character != '\'';
}

void appendQuoted(std::string& text, std::string_view quotation) {
  text += '"';
  while (!quotation.empty()) {
    const auto* const special = std::ranges::find_if_not(quotation, standsForItself);
    text.append(quotation.begin(), special);
    quotation.remove_prefix(static_cast<std::size_t>(special - quotation.begin()));
    if (!quotation.empty()) {
      text += escaped(quotation.front());
      quotation.remove_prefix(1);
    }
  }
  text += '"';
}

/// Appends the line that describes a value.
struct Describer {
  std::string& entry;

  void operator()(std::string_view text) const { entry += text; }
  void operator()(const std::vector<std::string>* texts) const {
    entry += '[';
    for (const std::string& text : *texts) {
      entry += &text == &texts->front() ? "" : ", ";
      appendQuoted(entry, text);
    }
    entry += ']';
  }
  void operator()(const CommandResult* result) const {
    entry += "(result: ";
    appendQuoted(entry, result->result);
    entry += ", error: ";
    appendQuoted(entry, result->error);
    entry += ')';
  }
  void operator()(int number) const { entry += std::to_string(number); }
};

std::optional<NSFileHandle> openLogFile() {
  const std::string path = NSHomeDirectory().append(kLogFileName);
  NSFileManager& fileManager = NSFileManager::defaultManager();
  fileManager.removeItemAtPath(path);
  fileManager.createFileAtPath(path);
  return NSFileHandle::fileHandleForWritingAtPath(path);
}

/// The last piece of a path that is not empty.
std::string_view lastComponent(std::string_view path) {
  path = path.substr(0, path.find_last_not_of('/') + 1);
  return path.substr(path.find_last_of('/') + 1);
}

}  // namespace

void LogItem::appendTo(std::string& entry) const { std::visit(Describer{entry}, value_); }

Console& Console::shared() {
  static auto* const instance = new Console;  // Immortal: a scan may outlive main.
  return *instance;
}

Console::Console() : fileHandle(openLogFile()) {}

void Console::log(std::initializer_list<LogItem> items, std::string_view file,
                  std::string_view function, std::uint_least32_t line) {
  Console& self = shared();
  const std::lock_guard lock(self.mutex_);
  std::string entry;
  entry.reserve(kUsualSize);
  entry += self.formatter.stringFromDate(std::chrono::system_clock::now());
  entry.append(" in ").append(lastComponent(file)).append(" ").append(function);
  entry.append(" [Line ").append(std::to_string(line)).append("]:\n");
  for (const LogItem& item : items) {
    item.appendTo(entry);
    entry += '\n';
  }
  entry += '\n';
  NSFileHandle::fileHandleWithStandardOutput().writeData(entry);
  self.writeToFile(entry);
}

void Console::writeToFile(std::string_view text) {
  if (!fileHandle) {
    return;
  }
  const std::size_t written = fileHandle->writeData(text);
  if (written < text.size()) {
    fileHandle->truncateFileAtOffset(fileHandle->seekToEndOfFile() - written);
  }
}

}  // namespace quorvel
