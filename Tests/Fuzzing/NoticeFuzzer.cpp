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
  const bool isNotice = std::count(object.begin(), object.end(), ',') == 1;
  require(script.has_value() == isNotice, "a notice has two fields");
  if (script && !script->empty()) {
    const std::string volume = object.substr(object.find(',') + 1);
    const std::string umount = "diskutil umount " + volume;
    const std::string remount = umount + "\ndiskutil mount " + volume + "\nopen /Volumes/" + volume;
    require(object.starts_with("add,") ? readByShell(*script, 2) == remount
                                       : readByShell(*script, 0) == umount,
            "its commands are for its volume and nothing else");
  }
}

}  // namespace quorvel::test
