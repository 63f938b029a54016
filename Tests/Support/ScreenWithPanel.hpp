// A real panel on a screen that nobody looks at, and a hand on its mouse.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Foundation/NSPipe.hpp"
#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::test {

struct Area {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

/// The packages that a panel would need and this machine lacks, each with a blank before it.
std::string missingPanelPackages();

/// Programs started while it lives find its display and its session bus in their environment.
/// What it looks for on the screen it sees by the colours of pixels.
class ScreenWithPanel {
 public:
  ScreenWithPanel();
  ~ScreenWithPanel();
  ScreenWithPanel(const ScreenWithPanel&) = delete;
  ScreenWithPanel& operator=(const ScreenWithPanel&) = delete;

  /// Whether the panel has been painted.
  [[nodiscard]] bool showsPanel() const;
  /// How many pixels of the panel are of the blue of the agent's icon.
  [[nodiscard]] std::size_t iconPixels() const;
  /// The menu's window; none while there is no menu.
  [[nodiscard]] std::optional<Area> menu() const;
  /// The middles of the rows of text in the menu, from the top; without those that are greyed.
  [[nodiscard]] std::vector<int> menuRows() const;
  /// Clicks on the icon; false, and the menu closed again, unless the menu comes to show so many
  /// rows in a window that is just high enough for them.
  [[nodiscard]] bool opensMenuWith(std::size_t rows) const;
  void clickRow(std::size_t index) const;
  void closeMenu() const;

 private:
  [[nodiscard]] Area panel() const;
  [[nodiscard]] std::vector<std::pair<int, int>> icon() const;
  [[nodiscard]] bool showsRows(std::size_t count) const;
  void clickIcon() const;
  /// What the panel's script has printed of that name, once the line is complete.
  [[nodiscard]] std::string variable(const std::string& name) const;
  bool hasEnded() { return !process_ || process_->collectIfEnded(); }

  TemporaryFolder folder_;
  NSPipe life_;  ///< The panel goes when its writing end is closed, also when we were killed.
  std::optional<ChildProcess> process_;
};

}  // namespace quorvel::test
