// The built agent's item and menu, seen from the session bus.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <csignal>

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
  /// A copy of the agent's bundle, to be changed or to lie elsewhere.
  static std::filesystem::path copyBundle(const std::filesystem::path& copy) {
    std::filesystem::create_directories(copy);
    std::filesystem::copy(StandInAgent::builtBundle(), copy,
                          std::filesystem::copy_options::recursive);
    return copy;
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
  EXPECT_EQ(panel.toggleOf(panel.layout()[0].id), "1");
  panel.choose("推出 [A b [c]__d]");
  const std::string ejected =
      "推出 [B\"'&<b>], 在Finder中打开 [B\"'&<b>], -, 挂载 [A b [c]__d], -, 打开主程序, 退出";
  ASSERT_TRUE(eventually([&] { return menuOf(panel) == ejected; })) << menuOf(panel);
  EXPECT_EQ(panel.toggleOf(panel.layout()[3].id), "0");
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
  EXPECT_FALSE(panel.aboutToShow()) << "nothing has changed";
  EXPECT_FALSE(panel.announceShowing());
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
  EXPECT_FALSE(panel.aboutToShow());
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

TEST_F(MenuTest, WaitsForASessionBusAndEndsWithIt) {
  session.end();
  StandInAgent agent = start();
  machine.attach({"A"});
  ASSERT_TRUE(eventually([&] { return !log().empty(); })) << "it works without a bus";
  session.begin();
  for (int i = 0; i < 2; ++i) {  // A panel that comes late, and one that is restarted.
    EXPECT_TRUE(Panel().watchesAnItemRegister());
  }
  session.end();
  EXPECT_EQ(agent.wait(), 0);
  EXPECT_EQ(log()[log().size() - 4], "remove") << "it gives its volumes back";
}

TEST_F(MenuTest, WorksAndEndsWhereTheBusDoesNotAnswer) {
  machine.attach({"A"});
  session.stop();
  StandInAgent agent = start();
  EXPECT_TRUE(eventually([&] { return !log().empty(); }));
  ::kill(std::stoi(agent.pid()), SIGTERM);
  EXPECT_EQ(agent.wait(), 0);
  const StandInAgent patient = start();
  EXPECT_TRUE(
      eventually([&] { return readFile(machine / "scripts").find("sudo") != std::string::npos; }));
  session.goOn();
  EXPECT_TRUE(Panel().seesAgent());
}

TEST_F(MenuTest, LosesAnEntryThatDoesNotFitFromTheLogAndNothingElse) {
  std::filesystem::remove(machine / ".zshenv");  // Commands have the limit, too.
  const StandInAgent agent = start();
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent());
  const auto limitFiles = [&](const std::string& size) {
    EXPECT_EQ(shell("prlimit --pid " + agent.pid() + " --fsize=" + size + ":"), "");
  };
  const auto shows = [&](const Texts& volumes) {
    machine.attach(volumes);
    return eventually([&] { return panel.openMenu().size() == 3 * volumes.size() + 2; });
  };
  ASSERT_TRUE(shows({"A"}));
  ASSERT_TRUE(eventually([&] { return log().back().starts_with("(result"); }));
  const std::string file = machine.home() / "Quorvel_Helper.txt";
  const std::string before = readFile(file);
  limitFiles(std::to_string(before.size() + 30));
  EXPECT_TRUE(shows({"A", "B"})) << agent.errors();
  EXPECT_EQ(readFile(file), before) << "half an entry stays";
  limitFiles("unlimited");
  EXPECT_TRUE(shows({"A"}));
  EXPECT_TRUE(eventually([&] { return log().back() == "remove disk9s1"; }));
}

TEST_F(MenuTest, StartsOnceForAUserAndLivesThroughASignalThatWasIgnoredWhenItStarted) {
  const UniqueFd home(::open(machine.home().c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::flock(home.get(), LOCK_EX), 0);  // As anybody may who may look into it.
  StandInAgent agent(machine, StandInAgent::builtBundle(), "nohup env " + fastClock(kUsualSpeed));
  ASSERT_TRUE(Panel().seesAgent()) << agent.errors();
  const int PID = std::stoi(agent.pid());
  ::kill(PID, SIGHUP);
  StandInAgent second = start();
  EXPECT_EQ(second.wait(), 1);
  EXPECT_NE(second.errors().find("running already"), std::string::npos) << second.errors();
  EXPECT_EQ(shell("stat -c %a " + (machine / "quorvel-helper.lock").string()), "600\n");
  setEnvironment("XDG_RUNTIME_DIR", machine / "none");  // The bus still knows it.
  StandInAgent third = start();
  EXPECT_EQ(third.wait(), 1);
  setEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
  const StandInAgent fourth = start();
  const StandInAgent fifth = start();  // Among the settings is a lock for one of the two.
  const std::string count = "grep -c 'running already' " + (machine / "stderr").string();
  EXPECT_TRUE(eventually([&] { return shell(count) == "3\n"; })) << fifth.errors();
  ::kill(PID, SIGINT);
  EXPECT_EQ(agent.wait(), 0);
}

TEST_F(MenuTest, OpensTheMainApplicationThatItLiesIn) {
  const auto main = machine / "Main.app";
  const auto bundle = copyBundle(main / "Contents/Library/LoginItems/QuorvelHelper.app");
  StandInAgent agent(machine, bundle);
  const Panel panel;
  ASSERT_TRUE(panel.seesAgent()) << agent.errors();
  static_cast<void>(panel.openMenu());
  panel.choose("打开主程序");  // There is none: nothing happens, and nothing is said.
  writeFile(main / "Contents/Info.plist",
            "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key>"
            "<string>Main</string></dict></plist>");
  const std::string limit = "prlimit --core --noheadings --raw --output SOFT";
  const std::string own = shell(limit);  // The program has it a moment after its start.
  writeScript(
      main / "Contents/MacOS/Main",
      "#!/bin/sh\nfor try in $(seq 500); do [ \"$(" + limit +
          ")\" = " + own.substr(0, own.find('\n')) +
          " ] && break; done\nis=$(readlink /proc/$$/fd/[012]; ps -o sid= $$ | grep -c $$; " +
          limit + ")\necho \"$is\" >>\"$MACHINE/launched\"\n");
  panel.choose("打开主程序");
  const std::string launched = "/dev/null\n/dev/null\n/dev/null\n1\n" + own;
  EXPECT_TRUE(eventually([&] { return readFile(machine / "launched") == launched; }))
      << readFile(machine / "launched");
  EXPECT_TRUE(eventually([&] { return shell("pgrep -P " + agent.pid() + " Main").empty(); }))
      << "it stays a zombie";
  sd_bus* running = nullptr;
  ::sd_bus_open_user(&running);
  const Bus owner(running);
  ::sd_bus_request_name(running, "com.quorvel.Manager", 0);
  panel.choose("打开主程序");
  panel.choose("退出");
  EXPECT_EQ(agent.wait(), 0);
  EXPECT_EQ(readFile(machine / "launched"), launched) << "it runs already";
  EXPECT_EQ(agent.errors(), "");
}

TEST_F(MenuTest, SaysWhereThereCanBeNoMainApplication) {
  for (const auto* const place : {"a/QuorvelHelper.app", "QuorvelHelper.app"}) {
    const auto bundle = copyBundle(machine / place);
    StandInAgent agent(machine, bundle);
    const Panel panel;
    ASSERT_TRUE(panel.seesAgent()) << agent.errors();
    static_cast<void>(panel.openMenu());
    panel.choose("打开主程序");
    panel.choose("退出");
    EXPECT_EQ(agent.wait(), 0);
    EXPECT_EQ(agent.errors().find("cannot be opened") != std::string::npos,
              std::distance(bundle.begin(), bundle.end()) < 5);
  }
}

TEST_F(MenuTest, GivesItsCommandsStandardStreamsWhereItHasNone) {
  writeScript(machine / "bin/df", "#!/bin/sh\nreadlink /proc/$$/fd/0 >>\"$MACHINE/input\"\n");
  const StandInAgent agent(machine, StandInAgent::builtBundle(),
                           "env " + fastClock(kUsualSpeed) + R"(sh -c 'exec "$0" <&- >&- 2>&-')");
  EXPECT_TRUE(eventually([&] { return readFile(machine / "input").starts_with("/dev/null\n"); }))
      << readFile(machine / "input");
}

TEST_F(MenuTest, SaysWhatIsWrongWithTheInterfaceFile) {
  const auto bundle = copyBundle(machine / "QuorvelHelper.app");
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
