// The start and the end of the built agent, and what it does where something of its own is amiss.
#include <gtest/gtest.h>

#include <array>
#include <csignal>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;

class AgentStart : public testing::Test {
 protected:
  /// A copy of the agent's bundle, to be changed or to lie elsewhere.
  static fs::path copyBundle(const fs::path& copy) {
    fs::create_directories(copy);
    fs::copy(builtBundle(), copy, fs::copy_options::recursive);
    return copy;
  }
  /// Has it open the main application, and quit.
  static void openMainApplication(Agent& agent) {
    const Panel panel;
    panel.choose("打开主程序");
    panel.choose("退出");
    EXPECT_EQ(agent.wait(), 0);
  }

  StandInMachine machine;
  Session session;
};

TEST_F(AgentStart, WaitsForASessionBusAndEndsWithIt) {
  session.end();
  Agent agent(machine);
  machine.attach({"A"});
  ASSERT_TRUE(agent.logs({"A", "disk9s0"})) << "it works without a bus";
  session.begin();
  for (int i = 0; i < 2; ++i) {  // A panel that comes late, and one that is restarted.
    Panel panel;
    EXPECT_TRUE(eventually([&] { return panel.gets("RegisterStatusNotifierItem"); }));
  }
  session.end();
  EXPECT_EQ(agent.wait(), 0);
  EXPECT_TRUE(agent.logs({"remove", "A", "disk9s0"})) << "it gives its volumes back";
}

TEST_F(AgentStart, WorksAndEndsWhereTheBusDoesNotAnswer) {
  machine.attach({"A"});
  session.signal("-STOP");
  Agent agent(machine);
  EXPECT_TRUE(agent.logs({"A", "disk9s0"}));
  EXPECT_EQ(agent.end(SIGTERM), 0);
  machine.takeScripts();
  const Agent patient(machine);
  EXPECT_TRUE(machine.runs("sudo"));
  session.signal("-CONT");
  EXPECT_FALSE(Panel().layout().empty());
}

TEST_F(AgentStart, LosesAnEntryThatDoesNotFitFromTheLogAndNothingElse) {
  fs::remove(machine / ".zshenv");  // Commands have the limit, too.
  machine.attach({"A", "B"});
  writeScript(machine / "bin/mount_ntfs", "#!/bin/sh\nyes | head -n 10000\n");
  const Agent agent(machine, "prlimit --fsize=20000 " + fastClock());
  EXPECT_TRUE(Panel().shows("推出 [B]"));
  ASSERT_TRUE(machine.scansOn(2));
  // What is said of their mounting is longer; there is room for all that ticks may say.
  const std::string values = R"(", "    Yes", "   NTFS"])";
  EXPECT_EQ(machine.log(), (std::vector{"[\"A" + values, "[\"B" + values}));
  EXPECT_TRUE(eventually([&] { return agent.log().ends_with("\n\n"); })) << "half an entry stays";
}

TEST_F(AgentStart, HappensOnceForAUserAndSurvivesASignalThatWasIgnoredBefore) {
  Agent agent(machine, "nohup " + fastClock());
  ASSERT_FALSE(Panel().layout().empty());
  agent.send(SIGHUP);
  EXPECT_EQ(Agent(machine, "env DBUS_SESSION_BUS_ADDRESS=unix:path=/none ").wait(), 1)
      << "they have the home in common";
  EXPECT_EQ(Agent(machine, "env HOME=" + (machine / "bin").string() + " ").wait(), 1)
      << "they have the bus in common";
  const std::string errors = agent.errors();
  EXPECT_NE(errors.find("running already"), errors.rfind("running already")) << errors;
  EXPECT_EQ(agent.end(SIGINT), 0);
}

TEST_F(AgentStart, LeadsToTheMainApplicationThatItLiesIn) {
  const auto main = machine / "Main.app";
  const auto bundle = copyBundle(main / "Contents/Library/LoginItems/QuorvelHelper.app");
  Agent agent(machine, fastClock(), bundle);
  const Panel panel;
  panel.choose("打开主程序");  // There is none: nothing happens, and nothing is said.
  writeFile(main / "Contents/Info.plist",
            "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key>"
            "<string>Main</string></dict></plist>");
  shell("prlimit --core --noheadings --raw --output SOFT >" + (machine / "limit").string());
  writeScript(main / "Contents/MacOS/Main", R"sh(#!/bin/sh
    compare() { prlimit --core --noheadings --raw --output SOFT | cmp - $MACHINE/limit; }
    for try in $(seq 500); do compare && break; done  # It has ours a moment after its start.
    is=$(readlink /proc/$$/fd/[012]; ps -o sid= $$ | grep -c $$; compare)
    echo "$is" >>"$MACHINE/launched")sh");
  panel.choose("打开主程序");
  const std::string launched = "/dev/null\n/dev/null\n/dev/null\n1\n";
  EXPECT_TRUE(eventually([&] { return readFile(machine / "launched") == launched; }))
      << readFile(machine / "launched");
  EXPECT_TRUE(eventually([&] { return shell("pgrep -P " + agent.pid() + " Main").empty(); }))
      << "it stays a zombie";
  const Bus owner = openSessionBus();
  ::sd_bus_request_name(owner.get(), "com.quorvel.Manager", 0);
  openMainApplication(agent);
  EXPECT_EQ(readFile(machine / "launched"), launched) << "it runs already";
  EXPECT_EQ(agent.errors(), "");
}

TEST_F(AgentStart, GivesCommandsStandardStreamsWhereTheAgentHasNone) {
  writeScript(machine / "bin/df", "#!/bin/sh\nreadlink /proc/$$/fd/0 >>\"$MACHINE/input\"\n");
  const Agent agent(machine, R"(sh -c 'exec "$0" "$@" <&- >&- 2>&-' )" + fastClock());
  EXPECT_TRUE(eventually([&] { return readFile(machine / "input").starts_with("/dev/null\n"); }))
      << readFile(machine / "input");
}

TEST_F(AgentStart, SaysWhatIsWrongWithItsPlaceAndFailsWithAWordOnItsInterfaceFile) {
  const auto bundle = copyBundle(machine / "QuorvelHelper.app");
  Agent lost(machine, fastClock(), bundle);
  openMainApplication(lost);
  EXPECT_EQ(lost.errors().find("cannot be opened") != std::string::npos,
            std::distance(bundle.begin(), bundle.end()) < 5);
  const auto file = bundle / "Contents/Resources/MainMenu.plist";
  const std::string whole = readFile(file);
  for (const auto& [from, to, complaint] : std::vector<std::array<std::string, 3>>{
           {"<?xml", "garbage", "damaged"},
           {"openMainApp:", "openOther:", "openOther:"},
           {">AppDelegate<", ">Other<", "\"Other\""},
           {">mainMenu<", ">other<", "\"other\""},
           {"<key>Menu</key>", "<key>Men</key>", "two fixed items"}}) {
    std::string text = whole;
    writeFile(file, text.replace(text.find(from), from.size(), to));
    Agent agent(machine, "", bundle);
    EXPECT_EQ(agent.wait(), 1);
    EXPECT_NE(agent.errors().find(complaint), std::string::npos) << agent.errors();
  }
}

}  // namespace
}  // namespace quorvel::test
