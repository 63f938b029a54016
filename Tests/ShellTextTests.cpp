#include "Helper/ShellText.hpp"

#include <gtest/gtest.h>

#include "Shared/Script.hpp"

namespace quorvel::test {
namespace {

constexpr auto kHostileTexts = {"plain",
                                "two words",
                                "'",
                                "''a'b",
                                "\"",
                                "$(touch x)",
                                "`touch x`",
                                "a;b|c&d>e",
                                "*?[a-z]{1}",
                                "~root",
                                "=ls",
                                "!!",
                                "#",
                                "\\",
                                "a\\nb\\0c\\\\",
                                "-n",
                                "-e a",
                                "-",
                                "--help",
                                "line\nbreak",
                                "\t",
                                "\xE4\xBD\xA0\xE5\xA5\xBD",
                                "%s",
                                " a ",
                                "\\055",
                                "-5\\c",
                                "^a"};

std::string printedBy(const std::string& script) {
  return Script::run("/bin/zsh", std::nullopt, {script}).result;
}

TEST(ShellText, ReachesACommandUnchanged) {
  for (const std::string text : kHostileTexts) {
    const std::string lines = "1\n" + text + "\n";
    EXPECT_EQ(printedBy("() { print -rl -- $# \"$@\" } " + quotedForShell(text)), lines);
    EXPECT_EQ(printedBy("() { print -rl -- $# \"$@\" } " + bareOrQuotedForShell(text)), lines);
    EXPECT_EQ(printedBy("echo " + quotedForEcho(text)), text + "\n");
  }
}

TEST(ShellText, StandsBareOnlyWhenItIsPlain) {
  EXPECT_EQ(bareOrQuotedForShell("My_Stick-1.0+"), "My_Stick-1.0+");
  EXPECT_EQ(bareOrQuotedForShell("My Stick"), "'My Stick'");
  EXPECT_EQ(quotedForShell("it's"), R"('it'\''s')");
  EXPECT_EQ(quotedForEcho("plain"), "'plain'");
}

}  // namespace
}  // namespace quorvel::test
