#include "Tools/statusmenu/MenuRows.hpp"

#include <algorithm>

#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kNumberWidth = 3;

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

}  // namespace

std::vector<MenuRow> rowsOf(const std::vector<MenuEntry>& entries) {
  std::vector<MenuRow> rows;
  unsigned lastNumber = 0;
  for (const MenuEntry& entry : entries) {
    const bool isChoice = entry.isEnabled && !entry.isSeparator;
    rows.push_back({.id = entry.id,
                    .number = isChoice ? std::to_string(++lastNumber) : "",
                    .title = titleOf(entry)});
  }
  return rows;
}

std::string listed(const std::vector<MenuRow>& rows) {
  std::string text;
  for (const MenuRow& row : rows) {
    std::string number = row.number;
    number.insert(0, kNumberWidth - std::min(kNumberWidth, number.size()), ' ');
    text += number + "  " + row.title + "\n";
  }
  return text;
}

std::vector<std::int32_t> matching(const std::vector<MenuRow>& rows, std::string_view wanted) {
  std::vector<std::int32_t> ids;
  for (const MenuRow& row : rows) {
    if (!row.number.empty() && (row.number == wanted || row.title == wanted)) {
      ids.push_back(row.id);
    }
  }
  return ids;
}

}  // namespace quorvel
