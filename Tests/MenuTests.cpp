// The built agent's item and menu, seen from the session bus.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"

namespace quorvel::test {
namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

const std::string kFixed = "-, 打开主程序, 退出";
const std::string kEmptyMenu = "(没有发现NTFS卷), " + kFixed;

struct MenuTest : public testing::Test {
  StandInMachine machine;
  Session session;
  Panel panel;
};

TEST_F(MenuTest, ShowsBlocksInReverseOrderAboveTheFixedItems) {
  const Agent agent(machine);
  ASSERT_TRUE(panel.shows(kEmptyMenu));
  machine.attach({"A b [c]_d", "B\"'&<b>"});
  const std::string B = "推出 [B\"'&<b>], 在Finder中打开 [B\"'&<b>], -, ";
  ASSERT_TRUE(panel.shows(B + "推出 [A b [c]__d], 在Finder中打开 [A b [c]__d], " + kFixed));
  panel.choose("推出 [A b [c]__d]");
  EXPECT_TRUE(panel.shows(B + "挂载 [A b [c]__d], " + kFixed));
}

TEST_F(MenuTest, TellsEveryHostOfANewLayoutInWhichEntriesThatStayKeepTheirIds) {
  const Agent agent(machine);
  const auto before = panel.layout();
  panel.sendEvent(4711, "clicked");  // Nothing happens.
  EXPECT_FALSE(panel.announceShowing()) << "nothing has changed";
  machine.attach({std::string(255, 'x') + "\uFFFF"});  // The bus refuses U+FFFF.
  ASSERT_TRUE(eventually([&] { return panel.announceShowing() && panel.layout().size() == 5; }))
      << "no signal for GTK's hosts";
  const auto after = panel.layout();
  EXPECT_EQ(after[0].label, "推出 [" + std::string(255, 'x') + "\uFFFD]");
  EXPECT_EQ(after[3].id, before[2].id);
  EXPECT_EQ(after[4].id, before[3].id);
  EXPECT_NE(after[0].id, before[0].id);
  machine.attach({});
  ASSERT_TRUE(Panel().shows(kEmptyMenu));
  EXPECT_TRUE(panel.announceShowing()) << "one host's fetching is no news for the others";
  EXPECT_FALSE(panel.announceShowing());
}

TEST_F(MenuTest, OpensInATerminalToo) {
  // What it printed, and its status.
  const auto statusmenu = [](const std::string& arguments) {
    return shell(QUORVEL_BUILD_FOLDER "/bin/statusmenu " + arguments + " 2>&1; echo =$?");
  };
  EXPECT_TRUE(statusmenu("").ends_with("=3\n")) << "no agent";
  Agent agent(machine);
  // NOLINTNEXTLINE(misc-misleading-bidirectional): as somebody may call a volume.
  const std::string hostile = "[备份\u202E\x1B[2J]";
  machine.attach({"a_b " + hostile});
  ASSERT_TRUE(panel.shows("推出 [a__b " + hostile + "]"));
  const std::string rows =
      "  1  推出 [a_b [备份??[2J]]\n"
      "  2  在Finder中打开 [a_b [备份??[2J]]\n"
      "     ──────────\n"
      "  3  打开主程序\n"
      "  4  退出\n";
  EXPECT_EQ(statusmenu(""), rows + "=0\n");
  EXPECT_TRUE(statusmenu("choose 5").ends_with("Take one of these numbers:\n" + rows + "=4\n"));
  EXPECT_EQ(statusmenu("choose '推出 [a_b [备份??[2J]]'"), "=0\n");
  ASSERT_TRUE(panel.shows("挂载 [a__b " + hostile + "]"));
  EXPECT_EQ(statusmenu("choose 3"), "=0\n");
  EXPECT_EQ(agent.wait(), 0);
  session.end();
  EXPECT_TRUE(statusmenu("").ends_with("=69\n")) << "no bus";
}

TEST_F(MenuTest, ActsOnTheVolumeThatTheUserSaw) {
  const Agent agent(machine);
  machine.attach({"First", "Second"});
  ASSERT_TRUE(panel.shows("推出 [Second]"));
  const auto seen = panel.layout();
  machine.answer("list", "1: disk9s1\n");  // The first is pulled while the menu shows both.
  // Volume and identifier are forgotten one after the other.
  ASSERT_TRUE(eventually([&] { return std::ranges::count(machine.log(), "remove disk9s0") == 2; }));
  Texts expected = machine.log();
  // Eject the first, open the second, eject the second twice.
  for (const std::size_t row : {3, 1, 0, 0}) {
    panel.sendEvent(seen[row].id, "clicked");
  }
  expected.insert(expected.end(),
                  {"open", "Second", "disk9s1", R"((result: "", error: ""))", "0", "umounted",
                   "Second", "disk9s1", R"((result: "umount disk9s1 done\n", error: ""))", "remove",
                   "Second", "disk9s1", R"((result: "mount disk9s1 done\n", error: ""))", "1"});
  EXPECT_TRUE(panel.shows("挂载 [Second], " + kFixed));
  Texts alsoLogged = expected;
  alsoLogged.push_back("1");  // Where the second click comes before the entry is gone.
  EXPECT_TRUE(eventually([&] { return machine.log() == expected || machine.log() == alsoLogged; }))
      << testing::PrintToString(machine.log());
  EXPECT_EQ(readFile(machine / "opened"), "1\n/Volumes/Second\n");
}

TEST_F(MenuTest, NeverWaitsForAnOperationThatHangsAndTheEndDoesNotWaitForLong) {
  Agent agent(machine, fastClock(50));
  machine.attach({"A", "B"});
  ASSERT_TRUE(machine.runs("df -h"));
  ::mkfifo((machine / "gate").c_str(), 0600);
  writeScript(machine / "bin/sudo", "#!/bin/sh\n[ ${4##*/} = A ] && cat $MACHINE/gate\n:");
  machine.answer("mounts", "/dev/disk9s1 1G\n");
  ASSERT_TRUE(machine.runs("rm -rf"));  // By the scan.
  EXPECT_TRUE(panel.shows("推出 [B]"));
  const auto refusals = [] { return std::stoi(shell("grep -c ^Running ~/Quorvel_Helper.txt")); };
  const auto minutesPass = [&] {
    return eventually([&, later = refusals() + 50] { return refusals() > later; });
  };
  EXPECT_TRUE(minutesPass());
  std::string said = agent.errors();  // A slow scan before this one may have said it, too.
  EXPECT_NE(said.find("No disk is looked for any more"), said.npos) << said;
  EXPECT_TRUE(minutesPass());
  EXPECT_EQ(agent.errors(), said) << "it is said once";
  EXPECT_EQ(agent.end(SIGTERM), 0);
  said = agent.errors();
  EXPECT_NE(said.find("Volume disk9s0 is left as it is"), said.npos) << said;
  EXPECT_TRUE(machine.runs("diskutil mount disk9s1")) << "the next one is given back";
  writeFile(machine / "gate", "");
}

TEST_F(MenuTest, ScansWaitWhileAMenuIsOpenButNotForAHostThatDiedOrForever) {
  const Agent agent(machine, fastClock(40));  // A period takes 62 ms, ten minutes 15 s.
  ASSERT_FALSE(panel.layout().empty());
  // Those that are under way come to their end.
  const auto scansWait = [&] { return eventually([&] { return !machine.scansOn(1, 1s); }, 10s); };
  auto dying = std::make_optional<Panel>();
  dying->sendEvent(0, "opened");
  for (const char* event : {"opened", "closed", "closed"}) {
    panel.sendEvent(0, event);
  }
  EXPECT_TRUE(scansWait()) << "for the other panel";
  dying.reset();
  EXPECT_TRUE(machine.scansOn(2));
  panel.sendEvent(0, "opened");
  EXPECT_TRUE(scansWait());
  EXPECT_TRUE(machine.scansOn(2)) << "its end was lost";
}

TEST_F(MenuTest, DoesNotChangeUnderThePointer) {
  for (const int speed : {1, 40}) {  // At which a minute takes 1.5 s.
    const Agent agent(machine, fastClock(speed));
    ASSERT_TRUE(panel.shows(kEmptyMenu));
    EXPECT_FALSE(panel.gets("LayoutUpdated"));
    machine.attach({"A"});
    ASSERT_TRUE(machine.scansOn(4));
    if (speed == 1) {
      EXPECT_FALSE(panel.gets("LayoutUpdated"));
      panel.sendEvent(0, "clicked");
    }
    EXPECT_TRUE(eventually([&] { return panel.gets("LayoutUpdated"); }));
    machine.attach({});
  }
}

}  // namespace
}  // namespace quorvel::test
