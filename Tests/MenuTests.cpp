// The built agent's item and menu, seen from the session bus.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Tests/Support/LogReader.hpp"
#include "Tests/Support/PrivateMachine.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::test {
namespace {

using Texts = std::vector<std::string>;

const std::string kEmptyMenu = "(没有发现NTFS卷), -, 打开主程序, 退出";

std::string joined(const Texts& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all += (all.empty() ? "" : ", ") + text;
  }
  return all;
}

std::string menuOf(const Panel& panel) { return joined(panel.openMenu()); }

class MenuTest : public testing::Test {
 protected:
  MenuTest() { machine.settings("<key>Quorvel.Manager.Style.Key</key><false/>"); }

  StandInAgent start(int speed = kUsualSpeed) const {
    return StandInAgent(machine, StandInAgent::builtBundle(), "env " + fastClock(speed));
  }
  [[nodiscard]] Texts log() const { return loggedItems(machine.home()); }
  StandInMachine machine;
  Session session;
};

TEST_F(MenuTest, ShowsBlocksInReverseOrderAboveTheFixedItems) {
  const StandInAgent agent = start();
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent()) << agent.errors();
  EXPECT_EQ(menuOf(panel), kEmptyMenu);
  machine.attach({"A b [c]_d", "B\"'&<b>"});
  const std::string both =
      "推出 [B\"'&<b>], 在Finder中打开 [B\"'&<b>], -, "
      "推出 [A b [c]__d], 在Finder中打开 [A b [c]__d], -, 打开主程序, 退出";
  ASSERT_TRUE(eventually([&] { return menuOf(panel) == both; })) << menuOf(panel);
  EXPECT_EQ(menuOf(panel), both) << "opened twice";
  panel.choose("推出 [A b [c]__d]");
  const std::string ejected =
      "推出 [B\"'&<b>], 在Finder中打开 [B\"'&<b>], -, 挂载 [A b [c]__d], -, 打开主程序, 退出";
  ASSERT_TRUE(eventually([&] { return menuOf(panel) == ejected; })) << menuOf(panel);
  ASSERT_TRUE(eventually([&] { return log().back() == "1"; })) << "the chosen item's state";
  ::mkfifo((machine / "hold").c_str(), 0600);
  ASSERT_TRUE(eventually([&] { return log().back() == "Running...."; }));
  EXPECT_EQ(menuOf(panel), ejected) << "while a scan is slow";
  machine.list("");
  std::filesystem::rename(machine / "hold", machine / "gate");
  writeFile(machine / "gate", "");
  ASSERT_TRUE(eventually([&] { return menuOf(panel) == kEmptyMenu; }));
}

TEST_F(MenuTest, TellsEveryHostOfANewLayoutInWhichEntriesThatStayKeepTheirIds) {
  const StandInAgent agent = start();
  Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  const auto before = panel.layout();
  EXPECT_FALSE(panel.announceShowing()) << "nothing has changed";
  const std::string name = std::string(255, 'x') + "\uFFFF";  // The bus refuses U+FFFF.
  machine.attach({name});
  ASSERT_TRUE(eventually([&] { return panel.announceShowing(); })) << "no signal for GTK's hosts";
  const auto after = panel.layout();
  ASSERT_EQ(after.size(), 5U);
  EXPECT_EQ(after[0].label, "推出 [" + std::string(255, 'x') + "\uFFFD]");
  EXPECT_EQ(after[3].id, before[2].id);
  EXPECT_EQ(after[4].id, before[3].id);
  for (const MenuEntry& old : before) {
    EXPECT_NE(after[0].id, old.id);
  }
  panel.sendEvent(before[0].id, "clicked");  // Gone: nothing happens.
  panel.sendEvent(4711, "clicked");
  machine.attach({});
  const Panel other;
  ASSERT_TRUE(eventually([&] { return menuOf(other) == kEmptyMenu; }));
  EXPECT_TRUE(panel.announceShowing()) << "one host's fetching is no news for the others";
  EXPECT_FALSE(panel.announceShowing());
}

TEST_F(MenuTest, OpensInATerminalToo) {
  // What it printed, and its status.
  const auto statusmenu = [](const std::string& arguments) {
    return shell(QUORVEL_BUILD_FOLDER "/bin/statusmenu " + arguments + " 2>&1; echo =$?");
  };
  EXPECT_TRUE(statusmenu("").ends_with("=3\n")) << "no agent";
  StandInAgent agent = start();
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  machine.attach({"a_b [备份\u202E\x1B[2J]"});
  ASSERT_TRUE(eventually([&] { return panel.openMenu().size() == 5; }));
  EXPECT_EQ(statusmenu(""),
            "  1  推出 [a_b [备份??[2J]]\n"
            "  2  在Finder中打开 [a_b [备份??[2J]]\n"
            "     ──────────\n"
            "  3  打开主程序\n"
            "  4  退出\n=0\n");
  const std::string refusal = statusmenu("choose 5");
  EXPECT_TRUE(refusal.find("\"5\" is no entry") != refusal.npos && refusal.ends_with("\n=4\n"));
  EXPECT_EQ(statusmenu("choose '推出 [a_b [备份??[2J]]'"), "=0\n");
  ASSERT_TRUE(eventually([&] { return panel.openMenu().front().starts_with("挂载 [a__b "); }));
  EXPECT_EQ(statusmenu("choose 3"), "=0\n");
  EXPECT_EQ(agent.wait(), 0);
  session.end();
  EXPECT_TRUE(statusmenu("").ends_with("=69\n")) << "no bus";
}

TEST_F(MenuTest, ActsOnTheVolumeThatTheUserSaw) {
  const StandInAgent agent = start();
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  machine.attach({"First", "Second"});
  ASSERT_TRUE(eventually([&] { return panel.openMenu().size() == 8; }));
  const auto seen = panel.layout();
  machine.list("1: disk9s1\n");  // The first is pulled while the menu shows both.
  ASSERT_TRUE(eventually([&] { return log().back() == "remove disk9s0"; }));
  const auto lines = log().size();
  const auto choose = [&](std::size_t row) { panel.sendEvent(seen[row].id, "clicked"); };
  choose(3);  // Eject the first.
  choose(1);  // Open the second.
  choose(0);  // Eject the second.
  choose(0);
  ASSERT_TRUE(eventually([&] { return log().size() > lines && panel.openMenu().size() == 4; }));
  const std::string expected =
      R"(open, Second, disk9s1, (result: "", error: ""), 0, )"
      R"(umounted, Second, disk9s1, (result: "umount disk9s1 done\n", error: ""), )"
      R"(remove, Second, disk9s1, (result: "mount disk9s1 done\n", error: ""), 1)";
  // Once: the second click is for an entry that is gone, or is no more than logged.
  ASSERT_TRUE(eventually([&] {
    const Texts all = log();
    const auto done = joined({all.begin() + static_cast<std::ptrdiff_t>(lines), all.end()});
    return done == expected || done == expected + ", 1";
  })) << testing::PrintToString(log());
  EXPECT_EQ(readFile(machine / "opened"), "1\n/Volumes/Second\n");
}

TEST_F(MenuTest, ScansWaitWhileAMenuIsOpenButNotForAHostThatDiedOrForever) {
  const StandInAgent agent = start(40);  // A period takes 62 ms, ten minutes 15 s.
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  const auto scansWait = [&] {
    const auto during = machine.scans() + 1;  // One may be under way.
    const auto periodsLater = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    return eventually([&] { return std::chrono::steady_clock::now() > periodsLater; }) &&
           machine.scans() <= during;
  };
  const auto scansGoOn = [&] {
    return eventually([&, before = machine.scans()] { return machine.scans() > before + 1; });
  };
  auto dying = std::make_optional<Panel>();
  dying->sendEvent(0, "opened");
  for (const char* event : {"opened", "closed", "closed"}) {
    panel.sendEvent(0, event);
  }
  EXPECT_TRUE(scansWait()) << "for the other panel";
  dying.reset();
  EXPECT_TRUE(scansGoOn());
  panel.sendEvent(0, "opened");
  EXPECT_TRUE(scansWait());
  EXPECT_TRUE(scansGoOn()) << "its end was lost";
}

TEST_F(MenuTest, DoesNotChangeUnderThePointer) {
  Panel panel;
  for (const int speed : {1, 40}) {  // At which a minute takes 1.5 s.
    const StandInAgent agent = start(speed);
    ASSERT_TRUE(panel.seesAgent());
    EXPECT_EQ(menuOf(panel), kEmptyMenu);
    EXPECT_FALSE(panel.isToldOfALayout());
    machine.attach({"A"});
    ASSERT_TRUE(eventually([&, before = machine.scans()] { return machine.scans() > before + 3; }));
    if (speed == 1) {
      EXPECT_FALSE(panel.isToldOfALayout());
      panel.sendEvent(0, "clicked");
    }
    EXPECT_TRUE(eventually([&] { return panel.isToldOfALayout(); }));
    machine.attach({});
  }
}

}  // namespace
}  // namespace quorvel::test
