// A menu as hosts of the tray know it: rows with ids.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Platform/AppKit/NSMenu.hpp"

namespace quorvel {

/// The id of the menu itself.
inline constexpr std::int32_t kRootId = 0;

/// Hosts keep what they know of a row by its id: an id never stands for another entry, and an entry
/// that did not change keeps its id. One that did is another entry.
class MenuLayout {
 public:
  struct Row {
    std::int32_t id;
    std::shared_ptr<NSMenuItem> item;
  };

  /// Takes over what the menu holds now.
  void update(const NSMenu::Items& items);

  [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }
  /// Rises whenever the menu has come to look other than before.
  [[nodiscard]] std::uint32_t revision() const { return revision_; }
  /// The item of a row; null for the menu itself and for an id of the past.
  [[nodiscard]] std::shared_ptr<NSMenuItem> item(std::int32_t id) const;

 private:
  /// An id of `rest` where one stands for such an entry, else a new one.
  [[nodiscard]] std::int32_t takeId(std::vector<Row>& rest, const NSMenuItem& item);

  std::vector<Row> rows_;
  std::uint32_t revision_ = 1;
  std::int32_t nextId_ = kRootId + 1;
};

}  // namespace quorvel
