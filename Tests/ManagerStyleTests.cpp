// The built agent and a main application that talk over the session bus.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/MainApplication.hpp"
#include "Tests/Support/Session.hpp"

namespace quorvel::test {
namespace {

using Texts = std::vector<std::string>;

class ManagerStyleTest : public testing::Test {
 protected:
  ManagerStyleTest() {
    machine.settings("<key>Quorvel.Manager.Style.Key</key><true/>");
    std::filesystem::remove(machine.desktop());
    agent.emplace(machine);
    EXPECT_TRUE(panel.seesAgent());
  }

  /// Whether these scripts run, besides those of the scan.
  bool runs(const Texts& scripts) {
    return eventually([&] {
             for (const std::string& script : machine.takeScripts()) {
               if (script.find("grep -v") == std::string::npos && script != "df -h") {
                 ran.push_back(script);
               }
             }
             return ran.size() >= scripts.size();
           }) &&
           std::exchange(ran, {}) == scripts;
  }

  StandInMachine machine;
  Session session;
  std::optional<Agent> agent;
  Panel panel;
  MainApplication application;
  Texts ran;
};

TEST_F(ManagerStyleTest, AnswersNoticesWithExactlyTheseScripts) {
  for (const auto& [notice, script] : std::vector<std::pair<std::string, std::string>>{
           {"add,disk2s1",
            "diskutil umount disk2s1\ndiskutil mount disk2s1\nopen /Volumes/disk2s1"},
           {"remove,My Stick: 漢 100%", "diskutil umount My Stick: 漢 100%"},
           {"add,", "diskutil umount \ndiskutil mount \nopen /Volumes/"},
           {"remove,it's $(touch hurt)", R"(diskutil umount 'it'\''s $(touch hurt)')"},
           {"Add,disk2s1", ""}}) {
    application.notice(notice);
    EXPECT_TRUE(runs({script})) << notice;
  }
  EXPECT_TRUE(eventually([&] { return machine.log().back() == R"((result: "", error: ""))"; }));
}

TEST_F(ManagerStyleTest, IgnoresWhatIsNoNotice) {
  const auto post = [&](const char* types, auto... values) {
    application.post(kNotice, "savu", 1, types, values..., 2);
  };
  application.post(kNotice, "savu", 0, 2);
  post("i", 1);
  post("o", "/add");
  post("h", STDERR_FILENO);
  post("as", 1, "add,x");
  post("(ss)", "add", "x");
  post("v", "s", "add,x");
  Texts expected(7, "错误的指令");
  application.notice("add");
  application.notice("add,a,b");
  application.post(kRequest, "savu", 1, "s", "add,x", 2);
  application.post(kNotice, "s");
  application.post(kNotice, "sau", 0);
  application.notice("add," + std::string(1 << 20, 'x'));
  application.notice("remove,last");
  EXPECT_TRUE(runs({"diskutil umount last"})) << testing::PrintToString(ran);
  expected.insert(expected.end(),
                  {R"((result: "", error: ""))", R"((result: "umount last done\n", error: ""))"});
  EXPECT_TRUE(eventually([&] { return machine.log() == expected; }))
      << "the huge one, the last; " << testing::PrintToString(machine.log()) << agent->errors();
}

TEST_F(ManagerStyleTest, ShowsItsMenuAndEndsInTheMidstOfAFlood) {
  constexpr std::size_t kFlood = 10000;
  for (std::size_t i = 0; i < kFlood; ++i) {
    application.notice("nothing,x");
  }
  EXPECT_FALSE(panel.openMenu().empty());
  // Not by the menu: a bus that finds nobody to give the rest to drops our answer as well.
  EXPECT_EQ(agent->end(SIGTERM), 0);
  EXPECT_GT(machine.log().size(), 0U) << "it had begun";
  EXPECT_LT(machine.log().size(), kFlood) << "the panel had to wait for all of it";
}

TEST_F(ManagerStyleTest, AsksTheMainApplicationAndTouchesNothingItself) {
  for (int round = 0; round < 2; ++round) {
    machine.attach({});
    ASSERT_TRUE(machine.scansOn(2));
    machine.attach({"a b", "A"});
    ASSERT_TRUE(panel.shows("挂载 [A]"));
    panel.choose("挂载 [A]");
    EXPECT_EQ(application.takeRequests(), Texts{"add,A 2"});
  }
  panel.choose("退出");
  EXPECT_EQ(application.takeRequests(), Texts{"remove,A 2"}) << "also at the very end";
  EXPECT_EQ(agent->wait(), 0);
  EXPECT_EQ(std::ranges::count(machine.log(), "卷名不能包含空格"), 2);
  EXPECT_TRUE(runs({"diskutil info disk9s0", "diskutil info disk9s1", "diskutil info disk9s0",
                    "diskutil info disk9s1"}));
  EXPECT_FALSE(std::filesystem::exists(machine.desktop())) << "nobody needed it";
}

using ManagerStyle = MachineTest;

/// With a real disk, and the setting switched by hand while the agent runs.
TEST_F(ManagerStyle, LetsTheMainApplicationMountARealVolume) {
  const Session session;
  MainApplication::manage(*machine, true);
  const TestDisk disk(*machine, "Stick");
  systemMounts(disk);
  Agent agent(*machine, "root");
  const Panel panel;
  MainApplication application;
  const auto choose = [&](const std::string& verb, const std::string& request = "") {
    ASSERT_TRUE(panel.shows(verb + " [Stick]"));
    panel.choose(verb + " [Stick]");
    ASSERT_TRUE(request.empty() || application.takeRequests() == Texts{request + ",Stick 2"});
  };
  const auto becomes = [&](const std::string& mounts) {
    return eventually([&] { return disk.mounts() == mounts; });
  };
  choose("挂载", "add");
  EXPECT_EQ(disk.mounts(), "/Volumes/Stick ro\n");
  // What a main application does then.
  const std::string folder = machine->folder() / "Stick";
  shell("diskutil umount " + disk.ID() + "; mkdir " + folder + "; mount_ntfs -o rw /dev/" +
        disk.ID() + " " + folder);
  EXPECT_EQ(disk.mounts(), folder + " rw\n");
  application.notice("add," + disk.ID());
  EXPECT_TRUE(becomes("/Volumes/Stick ro\n"));
  application.notice("remove," + disk.ID());
  EXPECT_TRUE(becomes(""));
  choose("推出", "remove");
  MainApplication::manage(*machine, false);
  choose("挂载");
  EXPECT_TRUE(becomes((machine->home("root") / "Desktop/Stick").string() + " rw\n"));
  MainApplication::manage(*machine, true);
  choose("推出", "remove");
  choose("挂载", "add");
  MainApplication::manage(*machine, false);
  EXPECT_EQ(agent.end(SIGTERM), 0);
  EXPECT_EQ(disk.mounts(), "/Volumes/Stick ro\n");
}

}  // namespace
}  // namespace quorvel::test
