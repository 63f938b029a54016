// The built agent and a main application that talk over the session bus.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/MainApplication.hpp"
#include "Tests/Support/Session.hpp"

namespace quorvel::test {
namespace {

using Texts = std::vector<std::string>;

const std::string kManaged = "<key>Quorvel.Manager.Style.Key</key><true/>";

class ManagerStyleTest : public testing::Test {
 protected:
  ManagerStyleTest() {
    machine.settings(kManaged);
    std::filesystem::remove(machine.desktop());
    agent.emplace(machine);
    EXPECT_FALSE(panel.layout().empty());
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
  post("as", 1, "add,x");
  post("v", "s", "add,x");
  Texts expected(4, "错误的指令");
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
  EXPECT_LT(machine.log().size(), kFlood) << "the panel had to wait for all of it";
  EXPECT_TRUE(eventually([&] { return !machine.log().empty(); })) << "it begins";
  // Not by the menu: a bus that finds nobody to give the rest to drops our answer as well.
  EXPECT_EQ(agent->end(SIGTERM), 0);
}

TEST_F(ManagerStyleTest, AsksTheMainApplicationAndTouchesNothingItselfUntilTheSettingChanges) {
  for (int round = 0; round < 2; ++round) {
    machine.attach({});
    ASSERT_TRUE(machine.scansOn(2));
    machine.attach({"a b", "A"});
    ASSERT_TRUE(panel.shows("挂载 [A]"));
    panel.choose("挂载 [A]");
    EXPECT_EQ(application.takeRequests(), Texts{"add,A 2"});
  }
  EXPECT_EQ(std::ranges::count(machine.log(), "卷名不能包含空格"), 2);
  EXPECT_TRUE(runs({"diskutil info disk9s0", "diskutil info disk9s1", "diskutil info disk9s0",
                    "diskutil info disk9s1"}));
  EXPECT_FALSE(std::filesystem::exists(machine.desktop())) << "nobody needed it";
  machine.settings("");  // By hand, while the agent runs.
  panel.choose("推出 [A]");
  ASSERT_TRUE(panel.shows("挂载 [A]"));
  machine.settings(kManaged);
  panel.choose("挂载 [A]");
  EXPECT_EQ(application.takeRequests(), Texts{"add,A 2"});
  panel.choose("退出");
  EXPECT_EQ(application.takeRequests(), Texts{"remove,A 2"}) << "also at the very end";
  EXPECT_EQ(agent->wait(), 0);
  EXPECT_TRUE(runs({"diskutil umount disk9s1", "echo '' | sudo -S rm -rf '" +
                                                   (machine.desktop() / "A").string() +
                                                   "'\ndiskutil mount disk9s1"}));
}

}  // namespace
}  // namespace quorvel::test
