// The built agent over a long time, and with many volumes: nothing grows and nothing is lost.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "Tests/Support/LogReader.hpp"
#include "Tests/Support/PrivateMachine.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/StandInMachine.hpp"
#include "Tests/Support/Trial.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

using Texts = std::vector<std::string>;

const Texts kEmptyMenu{"(没有发现NTFS卷)", "-", "打开主程序", "退出"};
constexpr int kSpeed = 100;
constexpr auto kFastPeriod = 2500ms / kSpeed;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long kAllowance = 1 << 20;  // Kibibytes: sanitizers keep what was freed.
#else
constexpr long kAllowance = 128;
#endif

long number(const std::string& command) { return std::stol(shell(command)); }

/// The agent on the stand-in machine.
class LongRunTest : public testing::Test {
 protected:
  LongRunTest() {
    // Counts the scans, and ends later than its output: whatever the agent needs to end a command,
    // it has from the first scan on.
    writeScript(machine / "bin/df",
                "#!/bin/sh\necho >>\"$MACHINE/counted\"; cat \"$MACHINE/mounts\"\n"
                "exec sleep 0.01 >&- 2>&-\n");
    writeFile(machine / "counted", "");
  }

  void start(const std::string& wrapper) {
    agent.emplace(machine, StandInAgent::builtBundle(), wrapper);
    panel.emplace();
    ASSERT_TRUE(panel->seesAgent()) << agent->errors();
  }
  [[nodiscard]] bool scansOn(std::size_t more) const {
    return eventually([this, until = scans() + more] { return scans() >= until; });
  }
  [[nodiscard]] std::size_t scans() const { return fs::file_size(machine / "counted"); }
  /// The timer's, those that found a scan running included.
  [[nodiscard]] long ticks() const {
    return number("grep -c '^Running' " + (machine.home() / "Quorvel_Helper.txt").string()) +
           static_cast<long>(scans());
  }
  [[nodiscard]] bool shows(const std::string& first, std::size_t rows) const {
    return eventually([&] {
      const auto menu = panel->openMenu();
      return menu.front() == first && menu.size() == rows;
    });
  }

  /// Plugs, pulls, ejects and mounts something, now this, now that.
  void comeAndGo(int round) const {
    static const std::vector<Texts> states{{}, {"A"}, {"A", "B b"}, {"C", "B b", "A"}, {"B b"}};
    if (round % 3 == 0) {
      machine.attach(states[static_cast<std::size_t>(round / 3) % states.size()]);
    }
    if (round % 5 == 0 && panel->openMenu() != kEmptyMenu) {
      panel->sendEvent(panel->layout().front().id, "clicked");
    }
  }

  /// Looks at a quiet agent that has no volumes: no scan runs while the menu is open.
  void whileQuiet(const std::function<void()>& look) const {
    machine.attach({});
    ASSERT_TRUE(shows(kEmptyMenu.front(), kEmptyMenu.size()));
    panel->sendEvent(0, "opened");
    auto last = belongings();
    int same = 0;
    ASSERT_TRUE(eventually([&] {
      const auto now = belongings();
      same = now == last && now.back() == 0 ? same + 1 : 0;
      last = now;
      return same == 10;
    }));
    look();
    panel->sendEvent(0, "closed");
  }
  /// Descriptors, threads, children.
  [[nodiscard]] std::vector<long> belongings() const {
    return {number("ls /proc/" + agent->pid() + "/fd | wc -l"),
            number("ls /proc/" + agent->pid() + "/task | wc -l"),
            number("grep -ls '^PPid:\t" + agent->pid() + "$' /proc/[0-9]*/status | wc -l")};
  }
  [[nodiscard]] long kibibytes() const {
    return number("sed -n 's/^Private_Dirty: *//p' /proc/" + agent->pid() + "/smaps_rollup");
  }

  /// As when the machine sleeps, though the clock goes on: many ticks are missed, and left out.
  void stopAndContinue() const {
    ::kill(std::stoi(agent->pid()), SIGSTOP);
    const long before = ticks();
    std::this_thread::sleep_for(100 * kFastPeriod);  // A stopped agent gives nothing to wait for.
    const auto continued = std::chrono::steady_clock::now();
    ::kill(std::stoi(agent->pid()), SIGCONT);
    EXPECT_TRUE(scansOn(3));
    const long missed = ticks() - before;
    // One was under way, one is overdue, and one may come while we count.
    EXPECT_LE(missed, (std::chrono::steady_clock::now() - continued) / kFastPeriod + 3);
  }

  const StandInMachine machine;
  const Session session;
  std::optional<StandInAgent> agent;
  std::optional<Panel> panel;
};

TEST_F(LongRunTest, GrowsInNothingWhileDisksComeAndGo) {
  start("env WALL_CLOCK_JUMPS=yes " + fastClock(kSpeed));
  std::vector<long> before;
  long memory = 0;
  Trial trial("Scans with disks coming and going", 60, 10000);
  while (trial.next()) {
    comeAndGo(trial.round());
    EXPECT_TRUE(scansOn(1)) << agent->errors();
    if (trial.round() == std::min(100, trial.rounds() / 6)) {
      whileQuiet([&] {
        before = belongings();
        memory = kibibytes();
      });
    } else if (trial.round() == trial.rounds() / 2) {
      stopAndContinue();
    }
  }
  whileQuiet([&] {
    EXPECT_EQ(belongings(), before) << "descriptors, threads, children";
    EXPECT_LE(kibibytes(), memory + kAllowance);
  });
  machine.attach({"A"});
  EXPECT_TRUE(shows("推出 [A]", 5)) << "by now it knows what is there";
  panel->choose("退出");
  EXPECT_EQ(agent->wait(), 0) << agent->errors();
}

TEST_F(LongRunTest, LeaksNothingInTheLifeOfAVolumeUnderValgrind) {
  Trial trial("Life of a volume under valgrind", 1, 1);
  ASSERT_TRUE(trial.next());
  start(
      "valgrind --quiet --leak-check=full --show-leak-kinds=definite,indirect,possible"
      " --errors-for-leak-kinds=definite,indirect,possible --error-exitcode=99"
      " --child-silent-after-fork=yes --log-file=\"$MACHINE/valgrind\"");
  machine.attach({"A", "B"});
  ASSERT_TRUE(shows("推出 [B]", 8)) << agent->errors();
  panel->choose("在Finder中打开 [B]");
  ASSERT_TRUE(eventually([this] { return fs::exists(machine / "opened"); }));
  panel->choose("推出 [B]");
  ASSERT_TRUE(shows("挂载 [B]", 7));
  panel->choose("挂载 [B]");
  ASSERT_TRUE(shows("推出 [B]", 8));
  machine.attach({"A"});
  ASSERT_TRUE(shows("推出 [A]", 5));
  panel->choose("退出");
  EXPECT_EQ(agent->wait(), 0) << readFile(machine / "valgrind");
}

TEST(ManyDisks, AreTakenOverInTheirOrderAndAllGivenBack) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "needs root: it attaches disks and mounts them in a namespace of its own";
  }
  const Session session;
  const PrivateMachine machine;
  Trial trial("NTFS disks at once", 5, 50);
  std::vector<std::unique_ptr<TestDisk>> disks;
  Texts menu{"打开主程序", "退出"};
  const auto name = [](std::size_t index) { return "Disk " + std::to_string(index); };
  while (trial.next()) {
    const std::string label = name(disks.size());
    menu.insert(menu.begin(), {"推出 [" + label + "]", "在Finder中打开 [" + label + "]", "-"});
    disks.push_back(std::make_unique<TestDisk>(machine, label));
    EXPECT_EQ(shell("/usr/local/bin/diskutil mount " + disks.back()->ID()).find("Volume "), 0U);
  }
  Agent agent(machine, "root");
  for (std::size_t i = 0; i < disks.size(); ++i) {
    ASSERT_TRUE(agent.logs({"new mounted", name(i), disks[i]->ID()})) << agent.log();
    EXPECT_EQ(disks[i]->mounts(), (machine.home("root") / "Desktop" / name(i)).string() + " rw\n")
        << agent.log();
  }
  const Panel panel;
  EXPECT_TRUE(eventually([&] { return panel.openMenu() == menu; }));
  for (const MenuEntry& entry : panel.layout()) {
    EXPECT_EQ(entry.state, entry.label.starts_with("推出") ? 1 : 0) << entry.label;
  }
  EXPECT_EQ(agent.end(SIGTERM), 0);
  for (std::size_t i = 0; i < disks.size(); ++i) {
    EXPECT_EQ(disks[i]->mounts(), "/Volumes/" + name(i) + " ro\n") << agent.log();
  }
  EXPECT_TRUE(fs::is_empty(machine.home("root") / "Desktop"));
}

}  // namespace
}  // namespace quorvel::test
