#include "Shared/Script.hpp"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "Helper/ShellText.hpp"
#include "Platform/Text/UTF8.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::test {
namespace {

using namespace std::string_literals;

struct ScriptTest : public testing::Test {
  const TemporaryFolder folder;
  const std::string file = folder / "file";
};

CommandResult zsh(const std::string& script) {
  return Script::run("/bin/zsh", std::nullopt, {script});
}

TEST_F(ScriptTest, GivesTheShellOneTextAndOtherProgramsTheirArguments) {
  EXPECT_EQ(Script::run("/bin/zsh", std::nullopt, {"print -r", "one   two"}).result, "one two\n");
  EXPECT_EQ(Script::run("/usr/bin/printf", "/", {"<%s>", "a b", "", "-c"}).result, "<a b><><-c>");
  EXPECT_EQ(Script::run("/bin/pwd", "/usr", {}).result, "/usr\n");
  EXPECT_EQ(zsh("[ $(ps -o sid= $$) = $$ ] && print alone").result, "alone\n") << "no terminal";
}

TEST_F(ScriptTest, EmptiesOnlyTheStreamThatIsNotUTF8AndTrimsNone) {
  const auto [result, error] = zsh(R"(printf 'a\377'; printf ' a\0b\303\244 \n\n' >&2; exit 3)");
  EXPECT_EQ(result, "");
  EXPECT_EQ(error, " a\0b\u00E4 \n\n"s);
}

TEST_F(ScriptTest, DrainsBothStreamsWhateverTheirSizes) {
  constexpr std::size_t kSize = 100'000'000;
  const auto [result, error] =
      zsh("head -c 100000000 /dev/zero >&2; head -c 100000000 /dev/zero; head -c 9 /dev/zero >&2");
  EXPECT_EQ(result.size(), kSize);
  EXPECT_EQ(error.size(), kSize + 9);
}

TEST_F(ScriptTest, EndsACommandThatPrintsForEverWithAllItHasStarted) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);  // Orphans become ours.
  const auto [result, error] =
      zsh("print said >&2; sh -c 'echo $$ >" + file + "; exec yes' & wait");
  EXPECT_EQ(result + error, "");
  int status = 0;
  EXPECT_TRUE(
      eventually([&] { return ::waitpid(std::stoi(readFile(file)), &status, WNOHANG) > 0; }));
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(ScriptTest, GivesTwoEmptyTextsWhenAProgramCannotBeStarted) {
  for (const auto* path : {"/nonexistent", "/etc/passwd", "/", ""}) {
    const auto [result, error] = Script::run(path, std::nullopt, {});
    EXPECT_EQ(result + error, "") << path;
  }
  EXPECT_EQ(zsh("print a; print b\0; print c"s).result, "") << "a text that was cut short ran";
  EXPECT_EQ(Script::run("/bin/pwd", "/nonexistent", {}).result, "");
}

TEST_F(ScriptTest, StartsChildrenWithDefaultSignalsAndAnEmptyMask) {
  static_cast<void>(::signal(SIGPIPE, SIG_IGN));
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
  // Signals 32 and 33 are the C library's: no program can set them.
  const auto* const none = "^Sig(Blk|Ign):\t0000000[01][08]0000000$";
  const auto empty = Script::run("/bin/grep", std::nullopt, {"-cP", none, "/proc/self/status"});
  EXPECT_EQ(empty.result, "2\n");
}

TEST_F(ScriptTest, LetsCommandsAtTheSameTimeShareNoDescriptor) {
  ::close_range(3, ~0U, 0);  // What the test itself was started with.
  std::thread slow([&] { EXPECT_EQ(zsh("print $$ >" + file + "; exec sleep 60").result, ""); });
  ASSERT_TRUE(eventually([&] { return !readFile(file).empty(); }));
  EXPECT_EQ(Script::run("/bin/ls", std::nullopt, {"/proc/self/fd"}).result, "0\n1\n2\n3\n")
      << "3 is the listing itself";
  EXPECT_EQ(zsh("kill $(<" + file + ")").error, "") << "the slow command ended before";
  slow.join();
}

TEST_F(ScriptTest, LeavesAChildThatClosedItsStreamsAndCollectsItLater) {
  // It does not end when it is asked to, but without its file; the call must not wait for that.
  zsh("trap 'print asked >" + file + ".asked' TERM; print $$ >" + file +
      "; exec >&- 2>&-; while [[ -e " + file + " ]] { sleep 0.02 }");
  const std::string process = "/proc/" + std::to_string(std::stoi(readFile(file)));
  EXPECT_TRUE(std::filesystem::exists(process));
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(file + ".asked"); }));
  std::filesystem::remove(file);
  EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(process); })) << "a zombie stays";
}

/// Every character alone, where it may end an option, an escape or a word, and twice.
TEST(ShellText, ReachesACommandUnchangedAndBareWhereItMay) {
  const std::string plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.+/,:@%";
  std::string script;
  std::string expected;
  for (int code = 1; code < 128; ++code) {
    const std::string character(1, static_cast<char>(code));
    EXPECT_EQ(bareOrQuotedForShell(character) == character,
              plain.find(character) != std::string::npos)
        << character;
    for (const std::string& text : {character, "-" + character, "\\" + character, "\\0" + character,
                                    " a" + character + "b 漢 ", character + character}) {
      script += "print -r -- " + quotedForShell(text) + "\n";
      script += "print -r -- " + bareOrQuotedForShell(text) + "\n";
      script += "echo " + quotedForEcho(text) + "\n";
      expected.append(text + "\n").append(text + "\n").append(text + "\n");
    }
  }
  EXPECT_EQ(zsh(script).result, expected);
  EXPECT_EQ(bareOrQuotedForShell("\xE6\xBC"), "'\xE6\xBC'") << "no character";
}

/// Every character beyond ASCII, in words that a command line can hold.
TEST(ShellText, ReachesACommandBareInEveryScript) {
  for (const auto* locale : {"C", "C.UTF-8"}) {
    setEnvironment("LC_ALL", locale);
    for (char32_t point = 0x80; point < 0x110000;) {
      std::string word;
      for (; point < 0x110000 && word.size() < 100'000; point += point == 0xD7FF ? 0x801 : 1) {
        word += std::filesystem::path(std::u32string(1, point)).string();
      }
      EXPECT_TRUE(bareOrQuotedForShell(word) == word);
      EXPECT_TRUE(zsh("print -rn -- " + word).result == word);
    }
  }
}

TEST(UTF8, IsTakenStrictlyAndCharacterByCharacter) {
  const std::string bytes =
      "a\0b\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
      "\xF4\x8F\xBF\xBF\xE6\xBCz"s;
  std::u32string points;
  for (std::string_view text = bytes; !text.empty();) {
    points += takeCharacter(text).point.value_or(U'?');
  }
  EXPECT_EQ(points, U"a\0b\u007F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0010FFFF??z"s);
  for (const auto& none :
       {"\x80"s, "\xBF"s, "\xC0\x80"s, "\xC1\xBF"s, "\xE0\x9F\xBF"s, "\xED\xA0\x80"s,
        "\xED\xBF\xBF"s, "\xF0\x8F\xBF\xBF"s, "\xF4\x90\x80\x80"s, "\xF5\x80\x80\x80"s, "\xFF"s,
        "\xC3"s, "a\xE2\x82"s, "\xF0\x9F\x92"s, "\xC3\x28"s, "\xE2\x82\x28"s, "\xE2\x28\xA1"s}) {
    EXPECT_FALSE(isUTF8(none)) << testing::PrintToString(none);
  }
}

}  // namespace
}  // namespace quorvel::test
