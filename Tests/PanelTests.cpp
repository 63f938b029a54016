// The built agent on a real panel: its icon on the screen, its menu under the mouse.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Shared/Script.hpp"
#include "Tests/Support/Agent.hpp"

namespace quorvel::test {
namespace {

std::string bash(const std::string& script) {
  return Script::run("/bin/bash", std::nullopt, {"-c", script}).result;
}

/// As the screen has it in its memory.
struct Pixel {
  std::uint8_t blue = 0;
  std::uint8_t green = 0;
  std::uint8_t red = 0;
  std::uint8_t unused = 0;
};

bool isPainted(const Pixel& pixel) { return pixel.red + pixel.green + pixel.blue > 0; }

bool isInk(const Pixel& pixel) {
  constexpr std::uint8_t kDark = 110;
  return isPainted(pixel) && std::max({pixel.red, pixel.green, pixel.blue}) < kDark;
}

/// What a theme highlights is of another blue.
bool isOfIcon(const Pixel& pixel) {
  constexpr int kTolerance = 8;
  return std::abs(pixel.red - 33) <= kTolerance && std::abs(pixel.green - 111) <= kTolerance &&
         std::abs(pixel.blue - 219) <= kTolerance;
}

/// What is below the panel.
struct Menu {
  std::vector<int> rows;  ///< The upper ends of the rows of text; without those that are greyed.
  int end = 0;

  [[nodiscard]] bool fits() const {
    return rows.size() >= 2 && end - rows.back() < rows[1] - rows[0];
  }
};

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

  [[nodiscard]] auto iconPixels() const {
    const auto screen = pixels();
    return std::count_if(screen.begin(), screen.end(), isOfIcon);
  }

  [[nodiscard]] Menu menu() const {
    constexpr int kBelowPanel = 32;
    constexpr int kGap = 4;  // Narrower ones are within a character.
    const auto screen = pixels();
    Menu menu;
    int lastInk = 0;
    for (int y = kBelowPanel; y < kHeight; ++y) {
      const auto line = std::span(screen).subspan(static_cast<std::size_t>(y) * kWidth, kWidth);
      if (std::any_of(line.begin(), line.end(), isPainted)) {
        menu.end = y + 1;
      }
      if (std::any_of(line.begin(), line.end(), isInk)) {
        if (y > lastInk + kGap) {
          menu.rows.push_back(y);
        }
        lastInk = y;
      }
    }
    return menu;
  }

  /// Clicks on the icon; false, and the menu closed again, unless the menu comes to show so many
  /// rows in a window that is just high enough for them.
  [[nodiscard]] bool opensMenuWith(std::size_t rows) const {
    constexpr std::chrono::seconds kPatience(3);
    xdotool("mousemove 12 15 click 1");
    const auto isWhole = [&] {
      const Menu seen = menu();
      return seen.rows.size() == rows && seen.fits();
    };
    if (eventually(isWhole, kPatience)) {
      return true;
    }
    closeMenu();
    return false;
  }

  void clickRow(std::size_t index) const {
    xdotool("mousemove 40 " + std::to_string(menu().rows.at(index)) + " click 1");
  }

 private:
  static constexpr int kWidth = 800;
  static constexpr int kHeight = 600;

  /// Line by line, from the top.
  [[nodiscard]] std::vector<Pixel> pixels() const {
    std::vector<Pixel> pixels(static_cast<std::size_t>(kWidth) * kHeight);
    const std::size_t size = pixels.size() * sizeof(Pixel);
    const std::string dump = readFile(folder_ / "Xvfb_screen0");  // They are the end of it.
    std::memcpy(pixels.data(), dump.data() + dump.size() - size, size);
    return pixels;
  }

  void xdotool(const std::string& command) const {
    bash("DISPLAY=:$(cat " + (folder_ / "display").string() + ") xdotool " + command);
  }

  void closeMenu() const {
    EXPECT_TRUE(eventually([&] {
      xdotool("mousemove 799 599 key Escape");
      return menu().rows.empty();
    }));
  }

  TemporaryFolder folder_;
  /// Ends when this end of its standard input is closed, also when we were killed.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> panel_{nullptr, ::pclose};
};

class PanelTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string missing = bash(". '" QUORVEL_PANEL "'; missing_packages panel");
    if (!missing.empty()) {
      GTEST_SKIP() << "There is no panel on this machine; packages that are missing: " << missing;
    }
    machine.settings("<key>Quorvel.Manager.Style.Key</key><false/>");
    screen.emplace();
    ASSERT_FALSE(HasFailure()) << "the panel did not start";
  }

  /// Attaches volumes, and waits until they are in the agent's registry and it has had time to
  /// tell.
  [[nodiscard]] bool agentKnowsOf(const std::vector<std::string>& volumes) const {
    // One that is under way, one that sees it, and time for the agent to trust that an earlier
    // opening, whose end no panel of this kind tells, is over.
    constexpr std::size_t kScans = 4;
    machine.attach(volumes);
    const auto before = machine.scans();
    return eventually([&] { return machine.scans() >= before + kScans; });
  }

  StandInMachine machine;
  std::optional<ScreenWithPanel> screen;
};

TEST_F(PanelTest, ShowsTheIconAndAMenuWhoseEntriesReachTheAgent) {
  constexpr int kPixelsOfIcon = 80;
  EXPECT_EQ(screen->iconPixels(), 0) << "before the agent starts";
  // At its usual speed: how long a menu may be open counts here.
  const Agent agent(machine, "");
  ASSERT_TRUE(eventually([&] { return screen->iconPixels() >= kPixelsOfIcon; }));

  // A panel gives the menu its size before it asks for what is new, so it has to be told before. It
  // may still be reading at one opening; it is not at all three.
  std::vector<std::string> volumes;
  bool isWhole = false;
  while (!isWhole && volumes.size() < 3) {
    volumes.emplace_back("备份");
    ASSERT_TRUE(agentKnowsOf(volumes));
    isWhole = screen->opensMenuWith(2 * volumes.size() + 2);
  }
  ASSERT_TRUE(isWhole) << "at the first opening after the volumes have changed";

  machine.takeScripts();  // Volumes that the system has mounted are ejected once, unasked.
  screen->clickRow(0);    // Eject.
  ASSERT_TRUE(eventually([&] {
    return readFile(machine / "scripts").find("diskutil umount disk9s") != std::string::npos;
  }));
  ASSERT_TRUE(eventually([&] { return screen->menu().rows.empty(); }));
  EXPECT_TRUE(eventually([&] { return screen->opensMenuWith(2 * volumes.size() + 1); }))
      << "it shows what was ejected";
}

}  // namespace
}  // namespace quorvel::test
