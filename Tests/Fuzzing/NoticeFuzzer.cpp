#include "Helper/Scripts.hpp"
#include "Helper/ShellText.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"

namespace quorvel::test {
namespace {

constexpr std::string_view kWithoutMeaning =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/_-.+,:@% \n";

/// What the shell makes of a script. Outside quotes nothing has a meaning but blanks, and line
/// ends: so many there are.
std::string readByShell(std::string_view script, int lineEnds) {
  std::string text;
  bool isQuoted = false;
  for (std::size_t i = 0; i < script.size(); ++i) {
    const bool isEscape = !isQuoted && script[i] == '\\' && i + 1 < script.size();
    if (script[i] == '\'') {
      isQuoted = !isQuoted;
      continue;
    }
    i += isEscape ? 1 : 0;
    const bool isBare = !isEscape && !isQuoted;
    require(
        !isBare || (script[i] & 0x80) != 0 || kWithoutMeaning.find(script[i]) != std::string::npos,
        "nothing outside quotes has a meaning");
    lineEnds -= isBare && script[i] == '\n' ? 1 : 0;
    text += script[i];
  }
  require(!isQuoted && lineEnds == 0, "every quote and every command is closed");
  return text;
}

}  // namespace

void check(const std::string& object) {
  require(readByShell(quotedForShell(object), 0) == object, "it is one word");
  const auto script = noticeScript(object);
  require(script.has_value() == (std::ranges::count(object, ',') == 1), "a notice has two fields");
  if (script) {
    const std::size_t comma = object.find(',');
    const std::string harmless = noticeScript(object.substr(0, comma) + ",X").value();
    std::string expected;
    for (const char each : harmless) {
      expected += each == 'X' ? object.substr(comma + 1) : std::string(1, each);
    }
    const auto lineEnds = static_cast<int>(std::ranges::count(harmless, '\n'));
    require(readByShell(*script, lineEnds) == expected,
            "whatever the volume, nothing else changes");
  }
}

}  // namespace quorvel::test
