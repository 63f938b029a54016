#include <array>

#include "Helper/Scripts.hpp"
#include "Helper/ShellText.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"

namespace quorvel::test {
namespace {

constexpr std::string_view kWithoutMeaning =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/_-.+,:@%";

/// What the shell makes of a script: its lines, from which the quotes are gone.
struct Reading {
  std::vector<std::string> lines{""};
  bool isOneWord = true;
};

void readBare(char character, Reading& reading) {
  reading.isOneWord = reading.isOneWord && character != ' ' && character != '\n';
  if (character == '\n') {
    reading.lines.emplace_back();
    return;
  }
  require(character == ' ' || static_cast<unsigned char>(character) >= 0x80 ||
              kWithoutMeaning.find(character) != std::string_view::npos,
          "nothing outside quotes has a meaning");
  reading.lines.back() += character;
}

Reading readByShell(std::string_view script) {
  Reading reading;
  bool isQuoted = false;
  for (std::size_t i = 0; i < script.size(); ++i) {
    if (script[i] == '\'') {
      isQuoted = !isQuoted;
    } else if (isQuoted) {
      reading.lines.back() += script[i];
    } else if (script[i] == '\\') {
      require(++i < script.size(), "there is something to escape");
      reading.lines.back() += script[i];
    } else {
      readBare(script[i], reading);
    }
  }
  require(!isQuoted, "every quote is closed");
  return reading;
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
  const Reading quoted = readByShell(quotedForShell(object));
  require(quoted.isOneWord && quoted.lines == std::vector{object}, "a quoted text is one word");
  const auto script = noticeScript(object);
  const bool isNotice = std::count(object.begin(), object.end(), ',') == 1;
  require(script.has_value() == isNotice, "a notice has two fields");
  if (script && !script->empty()) {
    const Reading reading = readByShell(*script);
    require(reading.lines.size() <= 3, "a notice is answered by three commands at most");
    for (const std::string& line : reading.lines) {
      requireToBeAbout(std::string_view(object).substr(object.find(',') + 1), line);
    }
  }
  return 0;
}

}  // namespace quorvel::test
