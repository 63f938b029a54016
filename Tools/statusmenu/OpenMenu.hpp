// A menu while it is open.
#pragma once

#include <cstdint>

#include "Tools/statusmenu/BusConnection.hpp"
#include "Tools/statusmenu/MenuLayout.hpp"

namespace quorvel {

/// Opens and uses an item's menu in the order in which a panel does, and tells the item that it has
/// been closed when this goes out of scope, whatever happened in between.
class OpenMenu {
 public:
  /// Finds the menu; nothing is opened yet. `bus` must outlive this.
  OpenMenu(const BusConnection& bus, const BusAddress& item);
  ~OpenMenu();
  OpenMenu(const OpenMenu&) = delete;
  OpenMenu& operator=(const OpenMenu&) = delete;

  /// Has the item bring its menu up to date and open it, and returns the root of its entries.
  /// All of these throw as BusConnection::call does.
  [[nodiscard]] MenuEntry open();

  /// Tells the item that the menu has been closed; its entries can still be chosen.
  void close();

  /// Chooses the entry with this id; returns as soon as the item has answered.
  void choose(std::int32_t id) const;

 private:
  [[nodiscard]] BusMessage event(std::int32_t id, const char* kind) const;

  const BusConnection& bus_;
  BusAddress menu_;
  bool isOpen_ = false;
};

}  // namespace quorvel
