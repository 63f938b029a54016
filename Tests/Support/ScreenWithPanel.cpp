#include "Tests/Support/ScreenWithPanel.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>

#include "Shared/Script.hpp"

namespace quorvel::test {
namespace {

constexpr int kTextHeight = 8;  // No row of text is lower, no gap between two is narrower.

struct Colour {
  int red = 0;
  int green = 0;
  int blue = 0;
};

/// Of the icon; what a theme highlights is of another blue.
bool isIconBlue(const Colour& colour) {
  constexpr Colour kIcon{33, 111, 219};
  constexpr int kTolerance = 8;
  return std::abs(colour.red - kIcon.red) <= kTolerance &&
         std::abs(colour.green - kIcon.green) <= kTolerance &&
         std::abs(colour.blue - kIcon.blue) <= kTolerance;
}

bool isInk(const Colour& colour) {
  constexpr int kDark = 110;
  return std::max({colour.red, colour.green, colour.blue}) < kDark;
}

bool isLight(const Colour& colour) {
  constexpr int kLight = 200;
  return std::min({colour.red, colour.green, colour.blue}) > kLight;
}

/// What is on the screen at a moment, read from an X window dump.
class Picture {
 public:
  explicit Picture(const std::string& dump) : dump_(dump.begin(), dump.end()) {
    constexpr std::size_t kBytesOfColourEntry = 12;
    pixels_ = header(0) + header(19) * kBytesOfColourEntry;
    bytesPerLine_ = header(12);
  }

  [[nodiscard]] Colour at(int x, int y) const {
    const auto offset = pixels_ + static_cast<std::size_t>(y) * bytesPerLine_ +
                        static_cast<std::size_t>(x) * sizeof(std::uint32_t);
    const bool isInside = x >= 0 && y >= 0 && offset + 2 < dump_.size();
    return isInside ? Colour{byte(offset + 2), byte(offset + 1), byte(offset)} : Colour{};
  }

  /// The places in the area whose colour is so.
  template <typename Predicate>
  [[nodiscard]] std::vector<std::pair<int, int>> find(const Area& area, Predicate matches) const {
    std::vector<std::pair<int, int>> found;
    for (int y = area.top; y < area.top + area.height; ++y) {
      for (int x = area.left; x < area.left + area.width; ++x) {
        if (matches(at(x, y))) {
          found.emplace_back(x, y);
        }
      }
    }
    return found;
  }

  /// The middles of the rows of text in the area, from the top.
  [[nodiscard]] std::vector<int> textRows(const Area& area) const {
    std::vector<std::pair<int, int>> rows;
    for (const auto& [x, y] : find(area, isInk)) {
      if (rows.empty() || y > rows.back().second + kTextHeight / 2) {
        rows.emplace_back(y, y);
      }
      rows.back().second = y;
    }
    std::vector<int> middles(rows.size());
    std::transform(rows.begin(), rows.end(), middles.begin(),
                   [](const auto& row) { return (row.first + row.second) / 2; });
    return middles;
  }

 private:
  [[nodiscard]] int byte(std::size_t offset) const { return dump_[offset]; }
  /// A field of the header: 32 bits, the highest first.
  [[nodiscard]] std::size_t header(std::size_t field) const {
    std::size_t value = 0;
    for (std::size_t i = 0; i < sizeof(std::uint32_t); ++i) {
      const auto offset = field * sizeof(std::uint32_t) + i;
      value = value << 8U | static_cast<std::size_t>(offset < dump_.size() ? byte(offset) : 0);
    }
    return value;
  }

  std::vector<std::uint8_t> dump_;
  std::size_t pixels_ = 0;
  std::size_t bytesPerLine_ = 0;
};

Area inner(const Area& area) {
  constexpr int kBorder = 3;
  return {area.left + kBorder, area.top + kBorder, area.width - 2 * kBorder,
          area.height - 2 * kBorder};
}

std::string xdotool(const std::string& command) {
  return Script::run("/bin/sh", std::nullopt, {"-c", "xdotool " + command}).result;
}

void click(int x, int y) {
  xdotool("mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1");
}

/// The windows of a program that are on the screen.
std::vector<Area> windows(const std::string& program) {
  std::istringstream output(
      xdotool("search --onlyvisible --class '^" + program + "$' getwindowgeometry --shell %@"));
  std::vector<Area> areas;
  for (std::string line; std::getline(output, line);) {
    const auto value = [&] { return std::stoi(line.substr(line.find('=') + 1)); };
    if (line.starts_with("X=")) {
      areas.push_back({.left = value()});
    } else if (line.starts_with("Y=")) {
      areas.back().top = value();
    } else if (line.starts_with("WIDTH=")) {
      areas.back().width = value();
    } else if (line.starts_with("HEIGHT=")) {
      areas.back().height = value();
    }
  }
  return areas;
}

}  // namespace

std::string missingPanelPackages() {
  std::istringstream output(
      Script::run("/bin/bash", std::nullopt, {QUORVEL_PANEL, "--missing"}).result);
  std::string packages;
  for (std::string package; output >> package;) {
    packages += " " + package;
  }
  return packages;
}

ScreenWithPanel::ScreenWithPanel() {
  const std::string output = folder_ / "output";
  ChildRequest request;
  request.path = "/bin/sh";
  request.arguments = {"-c", "exec '" QUORVEL_PANEL "' >" + output + " 2>&1"};
  request.standardInput = life_.fileHandleForReading().fileDescriptor();
  if (auto child = ChildProcess::start(request)) {
    process_.emplace(std::move(*child));
  }
  EXPECT_TRUE(eventually([&] { return !variable("SCREEN").empty() || hasEnded(); }));
  EXPECT_NE(variable("SCREEN"), "") << readFile(output);
  setEnvironment("DISPLAY", variable("DISPLAY"));
  setEnvironment("DBUS_SESSION_BUS_ADDRESS", variable("DBUS_SESSION_BUS_ADDRESS"));
}

ScreenWithPanel::~ScreenWithPanel() {
  life_.fileHandleForWriting().closeFile();
  if (process_) {
    process_->wait();
  }
}

bool ScreenWithPanel::showsPanel() const {
  const Area area = panel();
  const Picture picture(readFile(variable("SCREEN")));
  return isLight(picture.at(area.left + area.width / 2, area.top + area.height / 2));
}

std::size_t ScreenWithPanel::iconPixels() const { return icon().size(); }

std::optional<Area> ScreenWithPanel::menu() const {
  const int edge = panel().height - 1;
  const auto all = windows("wrapper-2.0");  // The program that the panel has for each plugin.
  const auto found = std::find_if(all.begin(), all.end(), [&](const Area& area) {
    return area.top >= edge && area.height >= kTextHeight;
  });
  return found == all.end() ? std::nullopt : std::make_optional(*found);
}

std::vector<int> ScreenWithPanel::menuRows() const {
  const auto area = menu();
  return area ? Picture(readFile(variable("SCREEN"))).textRows(inner(*area)) : std::vector<int>{};
}

bool ScreenWithPanel::opensMenuWith(std::size_t rows) const {
  constexpr std::chrono::seconds kPatience(3);
  clickIcon();
  if (eventually([&] { return showsRows(rows); }, kPatience)) {
    return true;
  }
  closeMenu();
  return false;
}

void ScreenWithPanel::clickRow(std::size_t index) const {
  const auto area = menu();
  const auto rows = menuRows();
  ASSERT_TRUE(area);
  ASSERT_LT(index, rows.size());
  click(area->left + area->width / 2, rows[index]);
}

void ScreenWithPanel::closeMenu() const {
  EXPECT_TRUE(eventually([&] {
    xdotool("key Escape");
    return !menu();
  }));
}

Area ScreenWithPanel::panel() const {
  const auto all = windows("xfce4-panel");
  const auto widest = std::max_element(
      all.begin(), all.end(), [](const Area& a, const Area& b) { return a.width < b.width; });
  return widest == all.end() ? Area{} : *widest;
}

std::vector<std::pair<int, int>> ScreenWithPanel::icon() const {
  return Picture(readFile(variable("SCREEN"))).find(panel(), isIconBlue);
}

bool ScreenWithPanel::showsRows(std::size_t count) const {
  const auto area = menu();
  const auto rows = menuRows();
  if (!area || count < 2 || rows.size() != count) {
    return false;
  }
  const int rest = area->top + area->height - rows.back();
  const int rowHeight = rows[1] - rows[0];
  return rest > kTextHeight && rest < rowHeight;
}

void ScreenWithPanel::clickIcon() const {
  const auto places = icon();
  ASSERT_FALSE(places.empty());
  const auto [x, y] = places[places.size() / 2];
  click(x, y);
}

std::string ScreenWithPanel::variable(const std::string& name) const {
  std::string text = "\n";
  text += readFile(folder_ / "output");
  const auto start = text.find("\n" + name + "=");
  const auto end = start == std::string::npos ? start : text.find('\n', start + 1);
  const auto value = start + name.size() + 2;
  return end == std::string::npos ? "" : text.substr(value, end - value);
}

}  // namespace quorvel::test
