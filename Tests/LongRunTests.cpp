// The built agent over a long time: nothing grows.
#include <gtest/gtest.h>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/Trial.hpp"

namespace quorvel::test {
namespace {

using namespace std::chrono_literals;

using Texts = std::vector<std::string>;

constexpr const char* kEmpty = "(没有发现NTFS卷)";  // The menu's first line, then.

/// The agent on the stand-in machine.
class LongRunTest : public testing::Test {
 protected:
  /// Descriptors, threads, children of a quiet agent that has no volumes, and its memory. No scan
  /// runs while the menu is open.
  std::pair<std::string, long> belongings(const Agent& agent) const {
    machine.attach({});
    EXPECT_TRUE(panel.shows(kEmpty));
    EXPECT_TRUE(eventually([&] {
      panel.sendEvent(0, "opened");  // Anew: what counts for ten minutes is over in six seconds.
      return !machine.scansOn(1, 1s);
    })) << "scans go on";
    const std::string count =
        "cd /proc/" + agent.pid() + "; ls fd | wc -l; ls task | wc -l; pgrep -cP " + agent.pid();
    std::string now;
    EXPECT_TRUE(eventually([&] {
      const std::string last = std::exchange(now, shell(count));
      return now == last && now.ends_with("\n0\n");
    }));
    const long kibibytes =
        std::stol(shell("sed -n 's/^Private_Dirty: *//p' /proc/" + agent.pid() + "/smaps_rollup"));
    panel.sendEvent(0, "closed");
    return {now, kibibytes};
  }

  const StandInMachine machine;
  const Session session;
  const Panel panel;
};

TEST_F(LongRunTest, GrowsInNothingWhileDisksComeAndGo) {
  Agent agent(machine, fastClock(100));
  const std::vector<Texts> disks{{}, {"A"}, {"A", "B b"}, {"C", "B b", "A"}, {"B b"}};
  std::pair<std::string, long> before;
  Trial trial("Scans with disks coming and going", 60, 10000);
  while (trial.next()) {
    const auto round = static_cast<std::size_t>(trial.round());
    if (round % 3 == 0) {
      machine.attach(disks[round / 3 % disks.size()]);
    }
    if (round % 5 == 0 && panel.openMenu().front() != kEmpty) {
      panel.sendEvent(panel.layout().front().id, "clicked");
    }
    EXPECT_TRUE(machine.scansOn(1));
    if (trial.round() == std::min(100, trial.rounds() / 6)) {
      before = belongings(agent);
    }
  }
  const auto [counts, kibibytes] = belongings(agent);
  EXPECT_EQ(counts, before.first) << "descriptors, threads, children";
  if (trial.rounds() > 1000) {  // In few, nothing tells a leak from a heap that settles.
    EXPECT_LE(kibibytes, before.second + 128);
  }
  machine.attach({"A"});
  EXPECT_TRUE(panel.shows("推出 [A]")) << "by now it knows what is there";
  panel.choose("退出");
  EXPECT_EQ(agent.wait(), 0);
}

}  // namespace
}  // namespace quorvel::test
