#include "Platform/Linux/StatusNotifier/MenuLayout.hpp"

#include <algorithm>

namespace quorvel {
namespace {

/// A tag is its owner's affair and shows nowhere.
bool areAlike(const NSMenuItem& one, const NSMenuItem& other) {
  return one.title() == other.title() && one.action() == other.action() &&
         one.isSeparatorItem() == other.isSeparatorItem() && one.state() == other.state() &&
         one.showsCheckMark() == other.showsCheckMark() &&
         one.representedObject() == other.representedObject();
}

std::vector<std::int32_t> ids(const std::vector<MenuLayout::Row>& rows) {
  std::vector<std::int32_t> all;
  std::transform(rows.begin(), rows.end(), std::back_inserter(all),
                 [](const auto& row) { return row.id; });
  return all;
}

}  // namespace

void MenuLayout::update(const NSMenu::Items& items) {
  const auto before = ids(rows_);
  std::vector<Row> rest = std::move(rows_);
  rows_.clear();
  for (const auto& each : items) {
    rows_.push_back({takeId(rest, *each), each});
  }
  revision_ += ids(rows_) == before ? 0 : 1;
}

std::int32_t MenuLayout::takeId(std::vector<Row>& before, const NSMenuItem& item) {
  const auto same = std::find_if(before.begin(), before.end(),
                                 [&](const Row& row) { return areAlike(*row.item, item); });
  if (same == before.end()) {
    return nextId_++;
  }
  const std::int32_t id = same->id;
  before.erase(same);
  return id;
}

std::shared_ptr<NSMenuItem> MenuLayout::item(std::int32_t id) const {
  const auto row =
      std::find_if(rows_.begin(), rows_.end(), [id](const Row& each) { return each.id == id; });
  return row == rows_.end() ? nullptr : row->item;
}

}  // namespace quorvel
