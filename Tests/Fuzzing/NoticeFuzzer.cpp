#include <array>
#include <vector>

#include "Helper/Scripts.hpp"
#include "Helper/ShellText.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"

namespace quorvel::test {
namespace {

constexpr std::string_view kWithoutMeaning =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/_-.+,:@%";

/// The lines that the shell makes of a script, without the quotes. Outside them nothing has a
/// meaning but `blanks`.
std::vector<std::string> readByShell(std::string_view script, std::string_view blanks) {
  std::vector<std::string> lines{""};
  bool isQuoted = false;
  for (std::size_t i = 0; i < script.size(); ++i) {
    const char character = script[i];
    const bool isEscape = !isQuoted && character == '\\' && i + 1 < script.size();
    if (character == '\'') {
      isQuoted = !isQuoted;
    } else if (isEscape || isQuoted) {
      lines.back() += script[isEscape ? ++i : i];
    } else {
      require(blanks.find(character) != std::string_view::npos || (character & 0x80) != 0 ||
                  kWithoutMeaning.find(character) != std::string_view::npos,
              "nothing outside quotes has a meaning");
      character == '\n' ? lines.emplace_back() : lines.back() += character;
    }
  }
  require(!isQuoted, "every quote is closed");
  return lines;
}

void requireToBeAbout(std::string_view volume, std::string_view line) {
  constexpr std::array<std::string_view, 3> kCommands{"diskutil umount ", "diskutil mount ",
                                                      "open /Volumes/"};
  require(std::any_of(kCommands.begin(), kCommands.end(),
                      [&](std::string_view command) {
                        return line.starts_with(command) && line.substr(command.size()) == volume;
                      }),
          "a line is a command for the notice's volume and nothing else");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string object(bytes, bytes + size);
  require(readByShell(quotedForShell(object), "") == std::vector{object}, "it is one word");
  const auto script = noticeScript(object);
  const bool isNotice = std::count(object.begin(), object.end(), ',') == 1;
  require(script.has_value() == isNotice, "a notice has two fields");
  if (script && !script->empty()) {
    const auto lines = readByShell(*script, " \n");
    require(lines.size() <= 3, "a notice is answered by three commands at most");
    for (const std::string& line : lines) {
      requireToBeAbout(std::string_view(object).substr(object.find(',') + 1), line);
    }
  }
  return 0;
}

}  // namespace quorvel::test
