// The start and the end of the built agent, and what it does where something of its own is amiss.
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

class AgentStart : public testing::Test {
 protected:
  AgentStart() { machine.settings("<key>Quorvel.Manager.Style.Key</key><false/>"); }

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

TEST_F(AgentStart, WaitsForASessionBusAndEndsWithIt) {
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

TEST_F(AgentStart, WorksAndEndsWhereTheBusDoesNotAnswer) {
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

TEST_F(AgentStart, LosesAnEntryThatDoesNotFitFromTheLogAndNothingElse) {
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

TEST_F(AgentStart, StartsOnceForAUserAndLivesThroughASignalThatWasIgnoredWhenItStarted) {
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

TEST_F(AgentStart, OpensTheMainApplicationThatItLiesIn) {
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

TEST_F(AgentStart, SaysWhereThereCanBeNoMainApplication) {
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

TEST_F(AgentStart, GivesItsCommandsStandardStreamsWhereItHasNone) {
  writeScript(machine / "bin/df", "#!/bin/sh\nreadlink /proc/$$/fd/0 >>\"$MACHINE/input\"\n");
  const StandInAgent agent(machine, StandInAgent::builtBundle(),
                           "env " + fastClock(kUsualSpeed) + R"(sh -c 'exec "$0" <&- >&- 2>&-')");
  EXPECT_TRUE(eventually([&] { return readFile(machine / "input").starts_with("/dev/null\n"); }))
      << readFile(machine / "input");
}

TEST_F(AgentStart, SaysWhatIsWrongWithTheInterfaceFile) {
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
