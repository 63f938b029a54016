// statusmenu: the agent's menu in a terminal.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/statusmenu/MenuClient.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: statusmenu                       show the agent's menu\n"
    "       statusmenu choose NUMBER|TITLE   choose an entry of it\n"
    "       statusmenu --help\n"
    "An entry without a number cannot be chosen.\n"
    "Exit status:\n"
    "   0  done\n"
    "   1  anything else went wrong\n"
    "   3  the agent is not running\n"
    "   4  there is no such entry to choose, or more than one has that title\n"
    "  64  wrong arguments\n"
    "  69  there is no session bus to be reached\n";

constexpr int kNoEntry = 4;
constexpr std::size_t kNumberWidth = 3;

struct Row {
  std::int32_t id = 0;
  std::string number;  // From "1"; empty for what cannot be chosen.
  std::string title;   // What would steer the terminal or turn its direction is shown as "?".
};

// "__" stands for "_"; any other "_" only marks a key.
std::string withoutMnemonics(std::string_view label) {
  std::string result;
  for (std::size_t i = 0; i < label.size(); ++i) {
    if (label[i] != '_' || ++i < label.size()) {
      result += label[i];
    }
  }
  return result;
}

std::string titleOf(const MenuEntry& entry) {
  if (entry.isSeparator) {
    return "──────────";
  }
  const std::string title = printable(withoutMnemonics(entry.label));
  return entry.isEnabled ? title : "(" + title + ")";
}

std::vector<Row> openMenu(const MenuClient& menu) {
  static_cast<void>(menu.aboutToShow());
  std::vector<Row> rows;
  unsigned lastNumber = 0;
  for (const MenuEntry& entry : entriesOf(menu.layout())) {
    const bool isChoice = entry.isEnabled && !entry.isSeparator;
    rows.push_back({.id = entry.id,
                    .number = isChoice ? std::to_string(++lastNumber) : "",
                    .title = titleOf(entry)});
  }
  return rows;
}

std::string listed(const std::vector<Row>& rows) {
  std::string text;
  for (const Row& row : rows) {
    text += padding(row.number, kNumberWidth) + row.number + "  " + row.title + "\n";
  }
  return text;
}

int choose(std::string_view wanted) {
  const MenuClient menu;
  const std::vector<Row> rows = openMenu(menu);
  std::vector<std::int32_t> ids;
  for (const Row& row : rows) {
    if (!row.number.empty() && (row.number == wanted || row.title == wanted)) {
      ids.push_back(row.id);
    }
  }
  if (ids.size() == 1) {
    menu.sendEvent(ids.front(), "clicked");
    return EXIT_SUCCESS;
  }
  printError("statusmenu: \"" + printable(wanted) + "\" is " +
             (ids.empty() ? "no entry" : "more than one entry") +
             " that can be chosen. Take one of these numbers:\n" + listed(rows));
  return kNoEntry;
}

int runStatusMenu(Arguments words) {
  if (words.empty()) {
    print(listed(openMenu(MenuClient())));
    return EXIT_SUCCESS;
  }
  if (words.size() != 2 || std::string_view(words.front()) != "choose") {
    throw UsageError("statusmenu: only \"choose\" is known, with one number or title in quotes.");
  }
  return choose(words.back());
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  return quorvel::runTool(quorvel::kUsage, argc, argv, quorvel::runStatusMenu);
}
