// statusmenu: the menu of a tray item in a terminal.

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/statusmenu/BusConnection.hpp"
#include "Tools/statusmenu/Dialogue.hpp"
#include "Tools/statusmenu/DisplayText.hpp"
#include "Tools/statusmenu/MenuRows.hpp"
#include "Tools/statusmenu/MenuText.hpp"
#include "Tools/statusmenu/OpenMenu.hpp"
#include "Tools/statusmenu/StatusError.hpp"
#include "Tools/statusmenu/TrayItem.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: statusmenu [--item NAME[/PATH]]                       show the menu\n"
    "       statusmenu [--item NAME[/PATH]] choose NUMBER|TITLE   choose an entry of it\n"
    "       statusmenu --items                                    list the tray's items\n"
    "       statusmenu --help\n"
    "Shows the menu of the agent's tray item, or of the one that --item names. At a terminal it\n"
    "asks for entries until an empty line, q or the end of the input closes the menu. An entry is\n"
    "chosen by its title, its number, or the start of its title if no other one starts like that.\n"
    "Disabled entries are dim, or in parentheses where there are no colours (NO_COLOR).\n"
    "Exit status:\n"
    "   0  done\n"
    "   1  anything else went wrong\n"
    "   3  there is no such tray item on the bus, or it has no menu (--items: there is no tray)\n"
    "   4  there is no such entry, several could be meant, or it cannot be chosen\n"
    "   5  the item does not answer in time\n"
    "  64  wrong arguments\n"
    "  69  there is no session bus to be reached\n";

bool isAtTerminal() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1; }

int listItems() {
  for (const std::string& item : registeredItems(BusConnection())) {
    print(safeText(item) + "\n");
  }
  return EXIT_SUCCESS;
}

int showMenu(const BusAddress& item) {
  const BusConnection bus;
  if (isAtTerminal()) {
    return runDialogue(bus, item);
  }
  OpenMenu menu(bus, item);
  print(menuText(rowsOf(menu.open()), isStyled()));
  return EXIT_SUCCESS;
}

int chooseEntry(const BusAddress& item, std::string_view wanted) {
  const BusConnection bus;
  OpenMenu menu(bus, item);
  const std::vector<MenuRow> rows = rowsOf(menu.open());
  menu.choose(findRow(rows, wanted).id);
  return EXIT_SUCCESS;
}

int runOnItem(const BusAddress& item, Arguments words) {
  if (words.empty()) {
    return showMenu(item);
  }
  const std::string_view verb = words.front();
  if (verb != "choose") {
    throw UsageError("statusmenu: \"" + printable(verb) + "\" is not known.");
  }
  if (words.size() != 2 || std::string_view(words.back()).empty()) {
    throw UsageError("statusmenu: choose needs one number or title (in quotes).");
  }
  return chooseEntry(item, words.back());
}

int dispatch(Arguments words) {
  const std::string_view first = words.empty() ? "" : words.front();
  if (first == "--items" && words.size() == 1) {
    return listItems();
  }
  if (first != "--item") {
    return runOnItem(agentItem(), words);
  }
  if (words.size() < 2) {
    throw UsageError("statusmenu: --item needs the name of an item.");
  }
  return runOnItem(itemFromText(words[1]), words.subspan(2));
}

int runStatusMenu(Arguments words) {
  try {
    return dispatch(words);
  } catch (const StatusError& error) {
    printError(std::string(error.what()) + "\n");
    return static_cast<int>(error.status());
  }
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  quorvel::useWideCharacters();
  const quorvel::Arguments arguments(argv, static_cast<std::size_t>(argc));
  return quorvel::runTool(quorvel::kUsage, arguments.subspan(1), quorvel::runStatusMenu);
}
