#include "Tools/statusmenu/MenuText.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "Tools/statusmenu/DisplayText.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kDim = "\033[2m";
constexpr std::string_view kPlain = "\033[0m";
constexpr std::string_view kTick = "✓";
constexpr std::string_view kRule = "─";
constexpr std::size_t kLongestRule = 72;

std::string blanks(std::size_t count) {
  std::string text;
  text.resize(count, ' ');
  return text;
}

std::string rightAligned(std::string_view text, std::size_t width) {
  return blanks(width - std::min(width, displayWidth(text))) + std::string(text);
}

// Which columns there are, and how wide they are.
class Table {
 public:
  Table(const std::vector<MenuRow>& rows, bool styled) : styled_(styled) {
    for (const MenuRow& row : rows) {
      numberWidth_ = std::max(numberWidth_, numberText(row).size());
      hasTicks_ = hasTicks_ || row.isToggle;
    }
    for (const MenuRow& row : rows) {
      titleWidth_ = std::max(titleWidth_, displayWidth(indentedTitle(row)));
    }
  }

  [[nodiscard]] std::string line(const MenuRow& row) const {
    const std::string start = " " + rightAligned(numberText(row), numberWidth_) + "  ";
    return start + (row.isSeparator ? rule() : tick(row) + shown(row)) + "\n";
  }

 private:
  static std::string numberText(const MenuRow& row) {
    return row.number > 0 ? std::to_string(row.number) : "";
  }

  [[nodiscard]] std::string indentedTitle(const MenuRow& row) const {
    const bool isMarked = !row.isEnabled && !row.isSeparator && !styled_;
    return blanks(row.depth * std::size_t{2}) + (isMarked ? "(" + row.title + ")" : row.title);
  }

  [[nodiscard]] std::string shown(const MenuRow& row) const {
    const std::string title = indentedTitle(row);
    return row.isEnabled || !styled_ ? title : std::string(kDim) + title + std::string(kPlain);
  }

  [[nodiscard]] std::string tick(const MenuRow& row) const {
    if (!hasTicks_) {
      return "";
    }
    return row.isTicked ? std::string(kTick) + " " : blanks(displayWidth(kTick) + 1);
  }

  [[nodiscard]] std::string rule() const {
    const std::size_t tickWidth = hasTicks_ ? displayWidth(kTick) + 1 : 0;
    const std::size_t width = std::clamp<std::size_t>(titleWidth_ + tickWidth, 3, kLongestRule);
    std::string text;
    for (std::size_t i = 0; i < width; ++i) {
      text += kRule;
    }
    return text;
  }

  bool styled_;
  bool hasTicks_ = false;
  std::size_t numberWidth_ = 1;
  std::size_t titleWidth_ = 0;
};

}  // namespace

bool isStyled() {
  const char* const noColor = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): one thread
  return noColor == nullptr && ::isatty(STDOUT_FILENO) == 1;
}

std::string menuText(const std::vector<MenuRow>& rows, bool styled) {
  const Table table(rows, styled);
  std::string text;
  for (const MenuRow& row : rows) {
    text += table.line(row);
  }
  return text.empty() ? "(The menu is empty.)\n" : text;
}

}  // namespace quorvel
