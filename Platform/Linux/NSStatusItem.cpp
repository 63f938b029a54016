#include "Platform/AppKit/NSStatusItem.hpp"

#include <optional>

#include "Platform/AppKit/NSStatusBar.hpp"
#include "Platform/Linux/StatusNotifier/DBusMenu.hpp"
#include "Platform/Linux/StatusNotifier/StatusNotifierItem.hpp"
#include "Platform/Linux/Support/SessionBus.hpp"

namespace quorvel {
namespace {

constexpr const char* kMenuPath = "/MenuBar";

}  // namespace

/// The item on the session bus, made when the loop runs: by then it has its image and its menu.
class NSStatusItem::Presence {
 public:
  std::shared_ptr<NSImage> image;
  std::shared_ptr<NSMenu> menu;

  static void appear(const std::weak_ptr<Presence>& weak, sd_bus* bus) {
    const auto self = weak.lock();
    if (self) {
      self->menuOnBus_.emplace(bus, kMenuPath,
                               self->menu ? self->menu : std::make_shared<NSMenu>());
      self->item_.emplace(bus, kMenuPath, self->image);
    }
  }

 private:
  std::optional<DBusMenu> menuOnBus_;
  std::optional<StatusNotifierItem> item_;
};

NSStatusItem::NSStatusItem() : presence_(std::make_shared<Presence>()) {
  whenSessionBusComes(
      [weak = std::weak_ptr(presence_)](sd_bus* bus) { Presence::appear(weak, bus); });
}

NSStatusItem::~NSStatusItem() = default;

void NSStatusItem::setImage(const std::shared_ptr<NSImage>& image) { presence_->image = image; }

void NSStatusItem::setMenu(const std::shared_ptr<NSMenu>& menu) { presence_->menu = menu; }

NSStatusBar& NSStatusBar::systemStatusBar() {
  static auto* const bar = new NSStatusBar;  // Immortal.
  return *bar;
}

std::shared_ptr<NSStatusItem> NSStatusBar::statusItemWithLength(double /*length*/) {
  return std::make_shared<NSStatusItem>();
}

}  // namespace quorvel
