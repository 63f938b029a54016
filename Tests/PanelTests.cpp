// The built agent on a real panel: its icon on the screen, its menu under the mouse.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/ScreenWithPanel.hpp"
#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::test {
namespace {

class PanelTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string missing = missingPanelPackages();
    if (!missing.empty()) {
      GTEST_SKIP() << "There is no panel on this machine; packages that are missing:" << missing;
    }
    machine.settings("<key>Quorvel.Manager.Style.Key</key><false/>");
    screen.emplace();
    ASSERT_FALSE(HasFailure()) << "the panel did not start";
  }

  [[nodiscard]] bool hasRun(const std::string& script) const {
    return scripts().find(script) != std::string::npos;
  }
  /// Until what is attached now is in the agent's registry and the agent has had time to tell.
  [[nodiscard]] bool agentHasScanned() const {
    // One that is under way, one that sees it, and time for the agent to trust that an earlier
    // opening, whose end no panel of this kind tells, is over.
    constexpr std::size_t kScans = 4;
    const auto before = machine.scans();
    return eventually([&] { return machine.scans() >= before + kScans; });
  }

  /// Whether the first opening after a change shows so many rows, each of them whole.
  [[nodiscard]] bool opensWhole(const std::vector<std::string>& names, std::size_t rows) const {
    machine.attach(names);
    const bool isWhole = agentHasScanned() && screen->opensMenuWith(rows);
    screen->closeMenu();
    return isWhole;
  }

  StandInMachine machine;
  std::optional<ScreenWithPanel> screen;

 private:
  [[nodiscard]] std::string scripts() const { return readFile(machine / "scripts"); }
};

TEST_F(PanelTest, ShowsTheIconAndAMenuWhoseEntriesReachTheAgent) {
  constexpr std::size_t kPixelsOfIcon = 80;
  machine.attach({"My Stick"});
  ASSERT_TRUE(eventually([&] { return screen->showsPanel(); }));
  EXPECT_EQ(screen->iconPixels(), 0U) << "before the agent starts";
  EXPECT_FALSE(screen->menu());
  const StandInAgent agent(machine);
  ASSERT_TRUE(eventually([&] { return screen->iconPixels() >= kPixelsOfIcon; }))
      << screen->iconPixels();
  ASSERT_TRUE(agentHasScanned());

  ASSERT_TRUE(eventually([&] { return screen->opensMenuWith(4); })) << screen->menuRows().size();
  machine.takeScripts();
  EXPECT_FALSE(hasRun("diskutil umount")) << "nothing has been chosen yet";
  screen->clickRow(0);  // Eject.
  ASSERT_TRUE(eventually([&] { return hasRun("diskutil umount disk9s0"); }));
  ASSERT_TRUE(eventually([&] { return !screen->menu(); }));
  ASSERT_TRUE(agentHasScanned());
  EXPECT_TRUE(eventually([&] { return screen->opensMenuWith(3); })) << "it shows what was ejected";
}

TEST_F(PanelTest, OpensAtTheRightSizeAfterTheVolumesHaveChanged) {
  // At its usual speed: how long a menu may be open counts here.
  const StandInAgent agent(machine, StandInAgent::builtBundle(), "");
  ASSERT_TRUE(eventually([&] { return screen->iconPixels() > 0; }));
  // A panel gives the menu its size before it asks for what is new, so it has to be told before. It
  // may still be reading at one opening; it is not at all three.
  bool grows = false;
  bool shrinks = false;
  for (int attempt = 0; attempt < 3 && !(grows && shrinks); ++attempt) {
    grows = opensWhole({"My Stick", "备份"}, 6) || grows;
    shrinks = opensWhole({"My Stick"}, 4) || shrinks;
  }
  EXPECT_EQ(std::make_pair(grows, shrinks), std::make_pair(true, true)) << "grows, shrinks";
}

}  // namespace
}  // namespace quorvel::test
