#include "Helper/ShellText.hpp"

#include <gtest/gtest.h>

#include "Shared/Script.hpp"
#include "Tests/Support/Files.hpp"

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

TEST(ShellText, StandsBareUnlessTheShellWouldActUponIt) {
  const std::string plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.+/,:@%";
  EXPECT_EQ(bareOrQuotedForShell(plain), plain);
  for (char character = 1; character > 0 && character < 127; ++character) {
    EXPECT_EQ(bareOrQuotedForShell(std::string(1, character)).size() == 1,
              plain.find(character) != std::string::npos)
        << character;
  }
  EXPECT_EQ(bareOrQuotedForShell("\xE6\xBC"), "'\xE6\xBC'") << "no character";
  EXPECT_EQ(bareOrQuotedForShell("My 漢", " "), "My 漢");
  EXPECT_EQ(bareOrQuotedForShell("My $t", " "), "'My $t'");
}

/// Every character beyond ASCII, in portions that a command line can hold.
TEST(ShellText, ReachesACommandBareInEveryScript) {
  constexpr char32_t kPortion = 0x1000;
  for (const auto* locale : {"C", "C.UTF-8"}) {
    setEnvironment("LC_ALL", locale);
    for (char32_t first = 0; first < 0x110000; first += kPortion) {
      std::string words;
      for (char32_t point = std::max<char32_t>(first, 0x80); point < first + kPortion; ++point) {
        if (point < 0xD800 || point > 0xDFFF) {
          words +=
              bareOrQuotedForShell(std::filesystem::path(std::u32string(1, point)).string()) + " ";
        }
      }
      ASSERT_EQ(words.find('\''), std::string::npos);
      EXPECT_EQ(Script::run("/bin/zsh", std::nullopt, {"print -rn -- " + words + "''"}).result,
                words);
    }
  }
}

}  // namespace
}  // namespace quorvel::test
