#include "Helper/ShellText.hpp"

#include <gtest/gtest.h>

#include "Shared/Script.hpp"

namespace quorvel::test {
namespace {

/// Every character alone, where it may end an option, an escape or a word, and twice.
TEST(ShellText, ReachesACommandUnchanged) {
  std::string script;
  std::string expected;
  for (int code = 1; code < 128; ++code) {
    const std::string character(1, static_cast<char>(code));
    for (const std::string& text : {character, "-" + character, "\\" + character, "\\0" + character,
                                    " a" + character + "b 漢 ", character + character}) {
      script += "print -r -- " + quotedForShell(text) + "\n";
      script += "print -r -- " + bareOrQuotedForShell(text) + "\n";
      script += "echo " + quotedForEcho(text) + "\n";
      for (int i = 0; i < 3; ++i) {
        expected += text + "\n";
      }
    }
  }
  EXPECT_EQ(Script::run("/bin/zsh", std::nullopt, {script}).result, expected);
}

}  // namespace
}  // namespace quorvel::test
