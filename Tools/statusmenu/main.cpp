// statusmenu: the agent's menu in a terminal.

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/statusmenu/MenuClient.hpp"
#include "Tools/statusmenu/MenuRows.hpp"

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

constexpr int kNoAgent = 3;
constexpr int kNoEntry = 4;
constexpr int kNoSessionBus = 69;  // EX_UNAVAILABLE of sysexits.h.

std::vector<MenuRow> openMenu(const MenuClient& menu) {
  static_cast<void>(menu.aboutToShow());
  return rowsOf(entriesOf(menu.layout()));
}

int choose(std::string_view wanted) {
  const MenuClient menu;
  const std::vector<MenuRow> rows = openMenu(menu);
  const std::vector<std::int32_t> ids = matching(rows, wanted);
  if (ids.size() == 1) {
    menu.sendEvent(ids.front(), "clicked");
    return EXIT_SUCCESS;
  }
  printError("statusmenu: \"" + printable(wanted) + "\" is " +
             (ids.empty() ? "no entry" : "more than one entry") +
             " that can be chosen. Take one of these numbers:\n" + listed(rows));
  return kNoEntry;
}

int dispatch(Arguments words) {
  if (words.empty()) {
    print(listed(openMenu(MenuClient())));
    return EXIT_SUCCESS;
  }
  if (words.size() != 2 || std::string_view(words.front()) != "choose") {
    throw UsageError("statusmenu: only \"choose\" is known, with one number or title in quotes.");
  }
  return choose(words.back());
}

int statusOf(MenuError::Reason reason) {
  switch (reason) {
    case MenuError::Reason::noAgent:
      return kNoAgent;
    case MenuError::Reason::noSessionBus:
      return kNoSessionBus;
    default:
      return EXIT_FAILURE;
  }
}

int runStatusMenu(Arguments words) {
  try {
    return dispatch(words);
  } catch (const MenuError& error) {
    printError("statusmenu: " + std::string(error.what()) + "\n");
    return statusOf(error.reason());
  }
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  const quorvel::Arguments arguments(argv, static_cast<std::size_t>(argc));
  return quorvel::runTool(quorvel::kUsage, arguments.subspan(1), quorvel::runStatusMenu);
}
