#include "Platform/AppKit/NSStatusItem.hpp"

#include "Platform/AppKit/NSStatusBar.hpp"
#include "Platform/Linux/StatusNotifier/StatusNotifierItem.hpp"
#include "Platform/Linux/Support/SessionBus.hpp"

namespace quorvel {

NSStatusBar& NSStatusBar::systemStatusBar() {
  static auto* const bar = new NSStatusBar;  // Immortal.
  return *bar;
}

std::shared_ptr<NSStatusItem> NSStatusBar::statusItemWithLength(double /*length*/) {
  auto item = std::make_shared<NSStatusItem>();
  // That is when the loop runs: by then it has its image and its menu.
  whenSessionBusComes([item](sd_bus* bus) {
    item->presence_ = std::make_shared<StatusNotifierItem>(bus, item->image_, item->menu_);
  });
  return item;
}

}  // namespace quorvel
