// The built agent and a main application that talk over the session bus.
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

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
    for (const int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
      ::prctl(PR_CAPBSET_DROP, capability);  // File permissions hold for an agent of root's, too.
    }
    machine.settings("<key>Quorvel.Manager.Style.Key</key><true/>");
    std::filesystem::remove(machine.desktop());
    // Without those it may not look into the private home that a build may lie in.
    const auto bundle = machine / "QuorvelHelper.app";
    std::filesystem::copy(builtBundle(), bundle, std::filesystem::copy_options::recursive);
    std::filesystem::copy(QUORVEL_FAST_CLOCK, machine / "fast-clock.so");
    agent.emplace(machine, fastClock(5, machine / "fast-clock.so"), bundle);
    EXPECT_TRUE(panel.seesAgent());
  }

  [[nodiscard]] Texts log() const { return machine.log(); }
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
  EXPECT_TRUE(eventually([&] { return log().back() == R"((result: "", error: ""))"; }));
}

TEST_F(ManagerStyleTest, IgnoresWhatIsNoNotice) {
  const auto post = [&](const char* types, auto... values) {
    application.post(kNotice, "savu", 1, types, values..., 2);
  };
  application.post(kNotice, "savu", 0, 2);
  for (const auto* type : {"y", "b", "n", "q", "i", "u"}) {
    post(type, 1);
  }
  post("x", std::int64_t{1});
  post("t", std::uint64_t{1});
  post("d", 0.5);
  post("o", "/add");
  post("g", "s");
  post("h", STDERR_FILENO);
  post("as", 1, "add,x");
  post("a{sv}", 1, "add", "s", "x");
  post("(ss)", "add", "x");
  post("v", "s", "add,x");
  post("av", 1, "s", "add,x");
  constexpr std::size_t kPosted = 18;
  EXPECT_TRUE(eventually([&] { return log().size() == kPosted; })) << log().size();
  EXPECT_EQ(log(), Texts(kPosted, "错误的指令"));
  application.notice("add");
  application.notice("add,a,b");
  application.notice("a,b,c,d");
  application.post(kRequest, "savu", 1, "s", "add,x", 2);
  application.post(kNotice, "s");
  application.post(kNotice, "sau", 0);
  application.notice("add," + std::string(1 << 20, 'x'));
  application.notice("remove,last");
  EXPECT_TRUE(runs({"diskutil umount last"})) << testing::PrintToString(ran);
  EXPECT_TRUE(eventually([&] { return log().size() == kPosted + 2; }))
      << "the huge one, the last; " << testing::PrintToString(log()) << agent->errors();
  EXPECT_FALSE(panel.openMenu().empty());
}

TEST_F(ManagerStyleTest, ShowsItsMenuAndEndsInTheMidstOfAFlood) {
  constexpr std::size_t kFlood = 10000;
  for (std::size_t i = 0; i < kFlood; ++i) {
    application.notice("nothing,x");
  }
  EXPECT_FALSE(panel.openMenu().empty());
  // Not by the menu: a bus that finds nobody to give the rest to drops our answer as well.
  EXPECT_EQ(agent->end(SIGTERM), 0);
  EXPECT_GT(log().size(), 0U) << "it had begun";
  EXPECT_LT(log().size(), kFlood) << "the panel had to wait for all of it";
}

TEST_F(ManagerStyleTest, AsksTheMainApplicationAndTouchesNothingItself) {
  const auto plugInAndMount = [&] {
    machine.attach({"A"});
    ASSERT_TRUE(panel.shows("挂载 [A]"));
    panel.choose("挂载 [A]");
    EXPECT_EQ(application.takeRequests(), Texts{"add,A 2"});
  };
  plugInAndMount();
  machine.attach({});
  ASSERT_TRUE(agent->logs({"remove disk9s0"}));
  plugInAndMount();
  EXPECT_EQ(panel.openMenu().front(), "推出 [A]");
  panel.choose("退出");
  EXPECT_EQ(application.takeRequests(), Texts{"remove,A 2"}) << "also at the very end";
  EXPECT_EQ(agent->wait(), 0);
  EXPECT_TRUE(runs({"diskutil info disk9s0", "diskutil info disk9s0"}));
  EXPECT_FALSE(std::filesystem::exists(machine.desktop())) << "nobody needed it";
}

TEST_F(ManagerStyleTest, FollowsTheSettingsWhateverBecomesOfThem) {
  const auto settings = machine / "config/com.quorvel.Manager.Shared.plist";
  machine.attach({"a b"});
  ASSERT_TRUE(agent->logs({"卷名不能包含空格"}));
  const std::string whole = readFile(settings);
  for (const auto& [content, permissions] :
       {std::pair{std::string("garbage"), 0600}, {"", 0600}, {"<plist>", 0600}, {whole, 0}}) {
    writeFile(settings, content);  // Reads as automatic mode.
    std::filesystem::permissions(settings, std::filesystem::perms(permissions));
    machine.attach({});
    ASSERT_TRUE(eventually([&] { return log().back() == "remove disk9s0"; }));
    machine.attach({"a b"});
    ASSERT_TRUE(panel.shows("推出 [a b]")) << content;
  }
}

class ManagerStyle : public MachineTest {
 protected:
  /// What a main application does that is asked to mount a volume.
  void mountAt(const std::string& folder, const TestDisk& disk) {
    shell("diskutil umount " + disk.ID() + "; mkdir " + folder + "; mount_ntfs -o rw /dev/" +
          disk.ID() + " " + folder);
    EXPECT_EQ(disk.mounts(), folder + " rw\n");
  }
};

/// With a real disk, and the setting switched by hand while the agent runs.
TEST_F(ManagerStyle, LetsTheMainApplicationMountARealVolume) {
  const Session session;
  MainApplication::manage(*machine, true);
  const TestDisk disk(*machine, "Stick");
  systemMounts(disk);
  Agent agent(*machine, "root");
  const Panel panel;
  MainApplication application;
  const auto choose = [&](const std::string& verb) {
    ASSERT_TRUE(panel.shows(verb + " [Stick]"));
    panel.choose(verb + " [Stick]");
  };
  const auto chooseAndAsk = [&](const std::string& verb, const std::string& request) {
    choose(verb);
    ASSERT_EQ(application.takeRequests(), Texts{request + ",Stick 2"});
  };
  const auto becomes = [&](const std::string& mounts) {
    return eventually([&] { return disk.mounts() == mounts; });
  };
  chooseAndAsk("挂载", "add");
  EXPECT_EQ(disk.mounts(), "/Volumes/Stick ro\n");
  mountAt(machine->folder() / "Stick", disk);
  application.notice("add," + disk.ID());
  EXPECT_TRUE(becomes("/Volumes/Stick ro\n"));
  application.notice("remove," + disk.ID());
  EXPECT_TRUE(becomes(""));
  chooseAndAsk("推出", "remove");
  MainApplication::manage(*machine, false);
  choose("挂载");
  EXPECT_TRUE(becomes((machine->home("root") / "Desktop/Stick").string() + " rw\n"));
  MainApplication::manage(*machine, true);
  chooseAndAsk("推出", "remove");
  chooseAndAsk("挂载", "add");
  MainApplication::manage(*machine, false);
  EXPECT_EQ(agent.end(SIGTERM), 0);
  EXPECT_EQ(disk.mounts(), "/Volumes/Stick ro\n");
}

}  // namespace
}  // namespace quorvel::test
