// The built agent's item and menu, seen from the session bus.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Helper/AppDelegate.hpp"
#include "Helper/NTFSManager.hpp"
#include "Shared/Script.hpp"
#include "Tests/Support/LogReader.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::test {
namespace {

using Texts = std::vector<std::string>;

const Texts kEmptyMenu{"(没有发现NTFS卷)", "-", "打开主程序", "退出"};

class MenuTest : public testing::Test {
 protected:
  MenuTest() { machine.settings("<key>Quorvel.Manager.Style.Key</key><false/>"); }

  StandInAgent start() const { return StandInAgent(machine); }
  bool eventuallyShows(const Panel& panel, const Texts& menu) const {
    return eventually([&] { return panel.openMenu() == menu; });
  }
  [[nodiscard]] Texts log() const { return loggedItems(machine.home()); }
  StandInMachine machine;
  Session session;
};

TEST_F(MenuTest, ShowsBlocksInReverseOrderAboveTheFixedItems) {
  const StandInAgent agent = start();
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent()) << agent.errors();
  EXPECT_EQ(panel.openMenu(), kEmptyMenu);
  machine.attach({"A b [c]_d", "B\"'&<b>"});
  const Texts both{"推出 [B\"'&<b>]",
                   "在Finder中打开 [B\"'&<b>]",
                   "-",
                   "推出 [A b [c]__d]",
                   "在Finder中打开 [A b [c]__d]",
                   "-",
                   "打开主程序",
                   "退出"};
  ASSERT_TRUE(eventuallyShows(panel, both)) << testing::PrintToString(panel.openMenu());
  EXPECT_EQ(panel.openMenu(), both) << "opened twice";
  EXPECT_EQ(panel.layout()[0].state, 1);
  panel.choose("推出 [A b [c]__d]");
  const Texts ejected{"推出 [B\"'&<b>]",
                      "在Finder中打开 [B\"'&<b>]",
                      "-",
                      "挂载 [A b [c]__d]",
                      "-",
                      "打开主程序",
                      "退出"};
  ASSERT_TRUE(eventuallyShows(panel, ejected)) << testing::PrintToString(panel.openMenu());
  EXPECT_EQ(panel.layout()[3].state, 0);
  ASSERT_TRUE(eventually([&] { return log().back() == "1"; })) << "the chosen item's state";
  machine.list("");
  ASSERT_TRUE(eventuallyShows(panel, kEmptyMenu));
}

TEST_F(MenuTest, KeepsIdsOfEntriesThatStayAndNeverReusesOne) {
  const StandInAgent agent = start();
  Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  const auto before = panel.layout();
  EXPECT_FALSE(panel.aboutToShow()) << "nothing has changed";
  EXPECT_FALSE(panel.announceShowing());
  const std::string longName(255, 'x');
  machine.attach({longName});
  ASSERT_TRUE(eventually([&] { return panel.announceShowing(); })) << "no signal for GTK's hosts";
  const auto after = panel.layout();
  ASSERT_EQ(after.size(), 5U);
  EXPECT_EQ(after[0].label, "推出 [" + longName + "]");
  EXPECT_EQ(after[3].id, before[2].id);
  EXPECT_EQ(after[4].id, before[3].id);
  for (const MenuEntry& old : before) {
    EXPECT_NE(after[0].id, old.id);
  }
  panel.sendEvent(before[0].id, "clicked");  // Gone: nothing happens.
  panel.sendEvent(4711, "clicked");
  EXPECT_FALSE(panel.aboutToShow());
}

TEST_F(MenuTest, OpensInATerminalToo) {
  struct Outcome {
    int status;
    std::string text;
  };
  const auto statusmenu = [](const std::string& arguments) -> Outcome {
    const std::string text =
        Script::run("/bin/sh", std::nullopt,
                    {"-c", QUORVEL_BUILD_FOLDER "/bin/statusmenu " + arguments + " 2>&1; echo =$?"})
            .result;
    const std::size_t mark = text.rfind('=');
    return {std::stoi(text.substr(mark + 1)), text.substr(0, mark)};
  };
  EXPECT_EQ(statusmenu("").status, 3) << "no agent";
  StandInAgent agent = start();
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  machine.attach({"a_b [备份]"});
  ASSERT_TRUE(eventually([&] { return panel.openMenu().size() == 5; }));
  EXPECT_EQ(statusmenu("").text,
            " 1  推出 [a_b [备份]]\n"
            " 2  在Finder中打开 [a_b [备份]]\n"
            "    ───────────────────────────\n"
            " 3  打开主程序\n"
            " 4  退出\n");
  EXPECT_EQ(statusmenu("choose 5").status, 4) << "no such entry";
  EXPECT_EQ(statusmenu("choose '推出 [a_b [备份]]'").status, 0);
  ASSERT_TRUE(eventually([&] { return panel.openMenu().front() == "挂载 [a__b [备份]]"; }));
  EXPECT_EQ(statusmenu("choose 3").status, 0);
  EXPECT_EQ(agent.wait(), 0);
  session.end();
  EXPECT_EQ(statusmenu("").status, 69) << "no bus";
}

TEST_F(MenuTest, TellsEveryHostOfANewLayout) {
  const StandInAgent agent = start();
  Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  const Panel other;
  static_cast<void>(panel.openMenu());
  machine.attach({"a\uFFFFb"});  // The bus refuses U+FFFF.
  ASSERT_TRUE(eventuallyShows(
      other, {"推出 [a\uFFFDb]", "在Finder中打开 [a\uFFFDb]", "-", "打开主程序", "退出"}));
  EXPECT_TRUE(panel.announceShowing()) << "one host's fetching is no news for the others";
  EXPECT_FALSE(panel.announceShowing());
}

TEST_F(MenuTest, IsMadeOfItemsAsThePlatformHasThem) {
  const auto menu = std::make_shared<NSMenu>();
  const auto fixed = std::make_shared<NSMenuItem>("退出", "terminateWithSender:", "");
  menu->setItemArray({std::make_shared<NSMenuItem>("打开主程序", "openMainApp:", ""), fixed});
  AppDelegate delegate;
  ASSERT_TRUE(delegate.connectOutlet("mainMenu", menu));
  machine.settings("<key>Quorvel.Manager.Style.Key</key><true/>");
  machine.attach({"A", "B"});
  NTFSManager::shared().run();
  NTFSManager::shared().previousInsertedNTFSVolumes()[0]->mount();
  delegate.menuNeedsUpdate(*menu);
  delegate.menuNeedsUpdate(*menu);
  Texts lines;
  for (const auto& item : menu->itemArray()) {
    lines.push_back(item->title() + "|" + item->action() + "|" + item->keyEquivalent() + "|" +
                    std::to_string(item->tag()) + "|" +
                    std::to_string(static_cast<int>(item->state())) + "|" +
                    (item->showsCheckMark() ? "check" : ""));
  }
  EXPECT_EQ(lines,
            (Texts{"挂载 [B]|didChangeSelectWithSender:||1|0|", "|||0|0|check",
                   "推出 [A]|didChangeSelectWithSender:||0|1|",
                   "在Finder中打开 [A]|openVolumeWithSender:||0|0|check", "|||0|0|check",
                   "打开主程序|openMainApp:||0|0|check", "退出|terminateWithSender:||0|0|check"}));
  EXPECT_EQ(menu->itemArray().back(), fixed) << "a fixed item was replaced";
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
  const Texts expected{"open",
                       "Second",
                       "disk9s1",
                       R"((result: "", error: ""))",
                       "0",
                       "umounted",
                       "Second",
                       "disk9s1",
                       R"((result: "umount disk9s1 done\n", error: ""))",
                       "remove",
                       "Second",
                       "disk9s1",
                       R"((result: "mount disk9s1 done\n", error: ""))",
                       "1"};  // Once: the second click is for an entry that is gone.
  ASSERT_TRUE(eventually([&] {
    const Texts all = log();
    return Texts(all.begin() + static_cast<std::ptrdiff_t>(lines), all.end()) == expected;
  })) << testing::PrintToString(log());
  EXPECT_EQ(readFile(machine / "opened"), "1\n/Volumes/Second\n");
}

TEST_F(MenuTest, OpensAtOnceWhileAScanIsSlow) {
  const StandInAgent agent = start();
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  machine.attach({"Fast"});
  ASSERT_TRUE(eventually([&] { return panel.openMenu().size() == 5; }));
  ::mkfifo((machine / "hold").c_str(), 0600);
  ASSERT_TRUE(eventually([&] { return log().back() == "Running...."; }));
  EXPECT_EQ(panel.openMenu()[0], "推出 [Fast]");
  std::filesystem::rename(machine / "hold", machine / "gate");
  writeFile(machine / "gate", "");
}

TEST_F(MenuTest, ScansWaitWhileAMenuIsOpenButNotForAHostThatDied) {
  const StandInAgent agent = start();
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  auto dying = std::make_optional<Panel>();
  dying->sendEvent(0, "opened");
  const auto during = machine.scans();
  const auto periodLater = std::chrono::steady_clock::now() + std::chrono::seconds(4);
  ASSERT_TRUE(eventually([&] { return std::chrono::steady_clock::now() > periodLater; }));
  EXPECT_EQ(machine.scans(), during) << "a tick was due in that time";
  dying.reset();
  EXPECT_TRUE(eventually([&] { return machine.scans() > during; }));
}

TEST_F(MenuTest, AppearsWithEveryWatcherThatComes) {
  const StandInAgent agent = start();
  ASSERT_TRUE(Panel().seesAgent());
  for (int i = 0; i < 2; ++i) {  // A panel that comes late, and one that is restarted.
    Panel panel;
    panel.watch();
    EXPECT_EQ(panel.registeredItems(1).size(), 1U);
  }
}

TEST_F(MenuTest, WaitsForASessionBusAndEndsWithIt) {
  session.end();
  StandInAgent agent = start();
  machine.attach({"A"});
  ASSERT_TRUE(eventually([&] { return !log().empty(); })) << "it works without a bus";
  session.begin();
  ASSERT_TRUE(Panel().seesAgent());
  session.end();
  EXPECT_EQ(agent.wait(), 0);
  EXPECT_EQ(log()[log().size() - 4], "remove") << "it gives its volumes back";
}

TEST_F(MenuTest, StartsOnceForAUser) {
  const StandInAgent agent = start();
  ASSERT_TRUE(Panel().seesAgent());
  StandInAgent second = start();
  EXPECT_EQ(second.wait(), 1);
  EXPECT_NE(second.errors().find("running already"), std::string::npos) << second.errors();
  setEnvironment("HOME", machine / "elsewhere");  // The bus still knows it.
  std::filesystem::create_directories(machine / "elsewhere");
  StandInAgent third = start();
  EXPECT_EQ(third.wait(), 1);
}

TEST_F(MenuTest, OpensTheMainApplicationThatItLiesIn) {
  const auto main = machine / "Main.app";
  const auto bundle = main / "Contents/Library/LoginItems/QuorvelHelper.app";
  std::filesystem::create_directories(bundle.parent_path());
  std::filesystem::copy(StandInAgent::builtBundle(), bundle,
                        std::filesystem::copy_options::recursive);
  writeFile(main / "Contents/Info.plist",
            "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key>"
            "<string>Main</string></dict></plist>");
  writeScript(main / "Contents/MacOS/Main", "#!/bin/sh\necho run >>\"$MACHINE/launched\"\n");
  StandInAgent agent(machine, bundle);
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent()) << agent.errors();
  static_cast<void>(panel.openMenu());
  panel.choose("打开主程序");
  EXPECT_TRUE(eventually([&] { return readFile(machine / "launched") == "run\n"; }));
  sd_bus* running = nullptr;
  ::sd_bus_open_user(&running);
  const Bus owner(running);
  ::sd_bus_request_name(running, "com.quorvel.Manager", 0);
  panel.choose("打开主程序");
  panel.choose("退出");
  EXPECT_EQ(agent.wait(), 0);
  EXPECT_EQ(readFile(machine / "launched"), "run\n") << "it runs already";
}

TEST_F(MenuTest, SaysWhatIsWrongWithTheInterfaceFile) {
  const auto bundle = machine / "QuorvelHelper.app";
  std::filesystem::copy(StandInAgent::builtBundle(), bundle,
                        std::filesystem::copy_options::recursive);
  const auto file = bundle / "Contents/Resources/MainMenu.plist";
  const std::string whole = readFile(file);
  const auto changed = [&](const std::string& from, const std::string& to) {
    std::string text = whole;
    return text.replace(text.find(from), from.size(), to);
  };
  for (const auto& [content, complaint] : std::vector<std::pair<std::string, std::string>>{
           {"garbage", "damaged"},
           {changed("openMainApp:", "openOther:"), "openOther:"},
           {changed(">AppDelegate<", ">Other<"), "\"Other\""},
           {changed(">mainMenu<", ">other<"), "\"other\""},
           {changed("<key>Menu</key>", "<key>Men</key>"), "two fixed items"}}) {
    writeFile(file, content);
    StandInAgent agent(machine, bundle);
    EXPECT_EQ(agent.wait(), 1);
    EXPECT_NE(agent.errors().find(complaint), std::string::npos) << agent.errors();
  }
}

}  // namespace
}  // namespace quorvel::test
