#include "Tools/statusmenu/MenuRows.hpp"

#include <functional>
#include <utility>

#include "Tools/statusmenu/DisplayText.hpp"
#include "Tools/statusmenu/StatusError.hpp"

namespace quorvel {
namespace {

bool isSubmenu(const MenuEntry& entry) {
  return entry.childrenDisplay == "submenu" || !entry.children.empty();
}

MenuRow rowOf(const MenuEntry& entry, unsigned depth, bool isReachable) {
  MenuRow row;
  row.id = entry.id;
  row.depth = depth;
  row.isSeparator = entry.type == "separator";
  row.isEnabled = isReachable && entry.isEnabled && !row.isSeparator;
  row.isToggle = !entry.toggleType.empty();
  row.isTicked = row.isToggle && entry.toggleState == 1;
  if (!row.isSeparator) {
    row.title = titleFromLabel(entry.label);
  }
  return row;
}

class RowList {
 public:
  void addChildren(const MenuEntry& parent, unsigned depth, bool isReachable) {
    for (const MenuEntry& entry : parent.children) {
      if (entry.isVisible) {
        add(entry, depth, isReachable);
      }
    }
  }

  std::vector<MenuRow> take() { return std::move(rows_); }

 private:
  void add(const MenuEntry& entry, unsigned depth, bool isReachable) {
    MenuRow row = rowOf(entry, depth, isReachable);
    const bool isUsable = row.isEnabled;
    if (isUsable && !isSubmenu(entry)) {
      row.number = ++lastNumber_;
    }
    rows_.push_back(std::move(row));
    addChildren(entry, depth + 1, isUsable);
  }

  std::vector<MenuRow> rows_;
  unsigned lastNumber_ = 0;
};

using Candidates = std::vector<const MenuRow*>;

// The rows that can be chosen, if there are any among them, hide the others.
Candidates rowsThat(const std::vector<MenuRow>& rows,
                    const std::function<bool(const MenuRow&)>& matches) {
  Candidates usable;
  Candidates others;
  for (const MenuRow& row : rows) {
    if (!row.isSeparator && matches(row)) {
      (row.number > 0 ? usable : others).push_back(&row);
    }
  }
  return usable.empty() ? others : usable;
}

Candidates candidatesFor(const std::vector<MenuRow>& rows, std::string_view wanted) {
  Candidates found = rowsThat(rows, [&](const MenuRow& row) { return row.title == wanted; });
  if (found.empty()) {
    found = rowsThat(rows, [&](const MenuRow& row) {
      return row.number > 0 && std::to_string(row.number) == wanted;
    });
  }
  if (found.empty()) {
    found = rowsThat(rows, [&](const MenuRow& row) { return row.title.starts_with(wanted); });
  }
  return found;
}

[[noreturn]] void fail(std::string_view wanted, const std::string& problem) {
  throw StatusError(ExitStatus::noEntry, "statusmenu: \"" + safeText(wanted) + "\" " + problem);
}

std::string listed(const Candidates& candidates) {
  std::string text;
  for (const MenuRow* row : candidates) {
    text += "\n  " + (row->number > 0 ? std::to_string(row->number) : "-") + "  " + row->title;
  }
  return text;
}

}  // namespace

std::vector<MenuRow> rowsOf(const MenuEntry& root) {
  RowList list;
  list.addChildren(root, 0, true);
  return list.take();
}

const MenuRow& findRow(const std::vector<MenuRow>& rows, std::string_view wanted) {
  const Candidates found = candidatesFor(rows, wanted);
  if (found.empty()) {
    fail(wanted, "is no entry of the menu.");
  }
  if (found.size() > 1) {
    fail(wanted, "could be more than one entry. Give the number:" + listed(found));
  }
  if (found.front()->number == 0) {
    fail(wanted, found.front()->isEnabled ? "is a submenu: choose an entry of it."
                                          : "cannot be chosen: the entry is disabled.");
  }
  return *found.front();
}

}  // namespace quorvel
