#include "Platform/Linux/StatusNotifier/MenuLayout.hpp"

#include <algorithm>
#include <utility>

namespace quorvel {
namespace {

/// State and represented object show nowhere, but it is by them that a choice acts.
bool areAlike(const NSMenuItem& one, const NSMenuItem& other) {
  return one.title() == other.title() && one.action() == other.action() &&
         one.isSeparatorItem() == other.isSeparatorItem() && one.state() == other.state() &&
         one.representedObject() == other.representedObject();
}

}  // namespace

void MenuLayout::update(const NSMenu::Items& items) {
  const std::vector<Row> before = std::exchange(rows_, {});
  std::vector<Row> rest = before;
  for (const auto& each : items) {
    rows_.push_back({takeId(rest, *each), each});
  }
  revision_ += std::ranges::equal(rows_, before, {}, &Row::id, &Row::id) ? 0 : 1;
}

std::int32_t MenuLayout::takeId(std::vector<Row>& rest, const NSMenuItem& item) {
  const auto same =
      std::ranges::find_if(rest, [&](const Row& row) { return areAlike(*row.item, item); });
  if (same == rest.end()) {
    return nextId_++;
  }
  const std::int32_t id = same->id;
  rest.erase(same);
  return id;
}

std::shared_ptr<NSMenuItem> MenuLayout::item(std::int32_t id) const {
  const auto row = std::ranges::find(rows_, id, &Row::id);
  return row == rows_.end() ? nullptr : row->item;
}

}  // namespace quorvel
