// The built agent on a real panel: its icon on the screen, its menu under the mouse.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "Tests/Support/Agent.hpp"

namespace quorvel::test {
namespace {

/// A panel on a screen that nobody looks at and that is black elsewhere, and a hand on its mouse.
/// Programs started while it lives find the panel's bus in their environment.
class ScreenWithPanel {
 public:
  ScreenWithPanel() {
    const std::string start = "exec '" QUORVEL_PANEL "' " + folder_.path().string();
    panel_.reset(::popen(start.c_str(), "we"));  // NOLINT(cert-env33-c): of our own words.
    setEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (folder_ / "bus").string());
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(folder_ / "ready"); }));
  }

  /// Of the icon's blue; what a theme highlights is of another.
  [[nodiscard]] int iconPixels() const {
    const std::string screen = readFile(folder_ / "Xvfb_screen0");
    const auto isNear = [&](std::size_t at, int value) {
      return std::abs(static_cast<unsigned char>(screen[at]) - value) <= 8;
    };
    int count = 0;
    for (std::size_t at = screen.size() % 4; at + 4 <= screen.size(); at += 4) {
      count += isNear(at, 219) && isNear(at + 1, 111) && isNear(at + 2, 33) ? 1 : 0;
    }
    return count;
  }

  /// Clicks on the icon, and, when the menu is there, does as it is told: how high the menu was.
  int openMenu(const std::string& then = "mousemove 799 599 key Escape") const {
    onScreen("xdotool mousemove 12 15 click 1");
    EXPECT_TRUE(eventually([&] { return menuHeight() > 0; }));
    const int height = menuHeight();
    onScreen("xdotool " + then);
    EXPECT_TRUE(eventually([&] { return menuHeight() == 0; }));
    return height;
  }

 private:
  std::string onScreen(const std::string& script) const {
    return shell("exec 2>/dev/null; export DISPLAY=:" + readFile(folder_ / "display") + script);
  }

  /// Of the window that stands below the panel; 0: there is none.
  [[nodiscard]] int menuHeight() const {
    const std::string height = onScreen(
        "for W in $(xdotool search --onlyvisible --class .); do "
        "eval $(xdotool getwindowgeometry --shell $W); [ $Y -eq 0 ] || echo $HEIGHT; done");
    return height.empty() ? 0 : std::stoi(height);
  }

  TemporaryFolder folder_;
  /// Ends when this end of its standard input is closed, also when we were killed.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> panel_{nullptr, ::pclose};
};

TEST(Panel, ShowsTheIconAndAMenuWhoseEntriesReachTheAgent) {
  const std::string missing = shell("bash -c '. \"" QUORVEL_PANEL "\"; missing_packages panel'");
  if (!missing.empty()) {
    GTEST_SKIP() << "There is no panel on this machine; packages that are missing: " << missing;
  }
  const StandInMachine machine;
  const ScreenWithPanel screen;
  ASSERT_FALSE(HasFailure()) << "the panel did not start";
  EXPECT_EQ(screen.iconPixels(), 0) << "before the agent starts";
  // A panel gives the menu its size before it asks for what is new, so it has to be told before. It
  // may still be reading at one first opening; it is not at all three.
  std::optional<Agent> agent;
  int height = 0;
  bool isWhole = false;
  for (int attempt = 0; !isWhole && attempt < 3; ++attempt) {
    machine.attach({});
    agent.emplace(machine, "");  // At its usual speed: how long a menu may be open counts here.
    ASSERT_TRUE(eventually([&] { return screen.iconPixels() >= 80; }));
    machine.attach({"备份"});
    ASSERT_TRUE(machine.scansOn(3));  // One that is under way, and one that sees it.
    height = screen.openMenu();
    isWhole = screen.openMenu() == height;
  }
  ASSERT_TRUE(isWhole) << "at the first opening after the volumes have changed";

  machine.takeScripts();  // Volumes that the system has mounted are ejected once, unasked.
  EXPECT_EQ(screen.openMenu("mousemove 40 45 click 1"), height);  // Eject.
  EXPECT_TRUE(machine.runs("diskutil umount disk9s"));
  EXPECT_TRUE(eventually([&] { return screen.openMenu() < height; }))
      << "it shows what was ejected";
}

}  // namespace
}  // namespace quorvel::test
