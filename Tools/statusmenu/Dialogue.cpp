#include "Tools/statusmenu/Dialogue.hpp"

#include <cstdlib>
#include <string>
#include <vector>

#include "Tools/statusmenu/MenuRows.hpp"
#include "Tools/statusmenu/MenuText.hpp"
#include "Tools/statusmenu/OpenMenu.hpp"
#include "Tools/statusmenu/Prompt.hpp"
#include "Tools/statusmenu/StatusError.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kQuestion = "Number or title (empty line closes): ";
constexpr int kSignalBase = 128;  // As a shell reports the end by a signal.

// Tells what is wrong with an answer, so that the question can be put again.
const MenuRow* rowOrComplaint(const std::vector<MenuRow>& rows, const std::string& wanted) {
  try {
    return &findRow(rows, wanted);
  } catch (const StatusError& error) {
    print(std::string(error.what()) + "\n");
    return nullptr;
  }
}

// Nothing after an empty answer, "q", or a signal; else the row to choose.
const MenuRow* askForRow(const std::vector<MenuRow>& rows, int& status) {
  while (true) {
    const Answer answer = ask(kQuestion);
    if (answer.line.empty() || answer.line == "q") {
      status = answer.signal == 0 ? EXIT_SUCCESS : kSignalBase + answer.signal;
      return nullptr;
    }
    if (const MenuRow* const row = rowOrComplaint(rows, answer.line)) {
      return row;
    }
  }
}

class Dialogue {
 public:
  Dialogue(const BusConnection& bus, const BusAddress& item) : bus_(bus), item_(item) {}

  int run() {
    try {
      while (showOnce()) {
      }
    } catch (const StatusError& error) {
      if (!hasChosen_ || error.status() != ExitStatus::noItem) {
        throw;
      }
      print("The item has gone.\n");
    }
    return status_;
  }

 private:
  // Whether the menu is to be shown again.
  bool showOnce() {
    OpenMenu menu(bus_, item_);
    const std::vector<MenuRow> rows = rowsOf(menu.open());
    print(menuText(rows, isStyled()));
    menu.close();  // An item may hold its work back while its menu is open; a person may take long.
    const MenuRow* const row = askForRow(rows, status_);
    if (row != nullptr) {
      hasChosen_ = true;
      menu.choose(row->id);
    }
    return row != nullptr;
  }

  const BusConnection& bus_;
  const BusAddress& item_;
  bool hasChosen_ = false;
  int status_ = EXIT_SUCCESS;
};

}  // namespace

int runDialogue(const BusConnection& bus, const BusAddress& item) {
  return Dialogue(bus, item).run();
}

}  // namespace quorvel
