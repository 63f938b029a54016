#include "Platform/AppKit/NSStatusItem.hpp"

#include "Platform/AppKit/NSStatusBar.hpp"
#include "Platform/Linux/StatusNotifier/DBusMenu.hpp"
#include "Platform/Linux/StatusNotifier/StatusNotifierItem.hpp"
#include "Platform/Linux/Support/SessionBus.hpp"

namespace quorvel {

struct NSStatusItem::Presence {
  static constexpr const char* kMenuPath = "/MenuBar";

  Presence(sd_bus* bus, const NSStatusItem& item)
      : menu(bus, kMenuPath, item.menu_), icon(bus, kMenuPath, item.image_) {}

  DBusMenu menu;
  StatusNotifierItem icon;
};

NSStatusItem::NSStatusItem() = default;
NSStatusItem::~NSStatusItem() = default;

NSStatusBar& NSStatusBar::systemStatusBar() {
  static auto* const bar = new NSStatusBar;  // Immortal.
  return *bar;
}

std::shared_ptr<NSStatusItem> NSStatusBar::statusItemWithLength(double /*length*/) {
  auto item = std::make_shared<NSStatusItem>();
  // That is when the loop runs: by then it has its image and its menu.
  whenSessionBusComes([item](sd_bus* bus) {
    item->presence_ = std::make_unique<NSStatusItem::Presence>(bus, *item);
  });
  return item;
}

}  // namespace quorvel
