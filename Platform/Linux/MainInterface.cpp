// The main interface file: the delegate that an application has, and the fixed items of its menu.
#include <cstdint>
#include <stdexcept>

#include "Platform/AppKit/NSApplication.hpp"
#include "Platform/Linux/Support/PropertyList.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kFixedItems = 2;

std::runtime_error broken(const std::string& path, const std::string& complaint) {
  return std::runtime_error(path + " " + complaint + "; install the application again.");
}

std::string text(plist_t dictionary, std::string_view key) {
  return propertyListText(propertyListItem(dictionary, key)).value_or("");
}

NSMenu::Items makeItems(plist_t menu, const NSApplicationDelegate& delegate,
                        const std::string& path) {
  NSMenu::Items items;
  const bool isArray = ::plist_get_node_type(menu) == PLIST_ARRAY;
  for (uint32_t i = 0; isArray && i < ::plist_array_get_size(menu); ++i) {
    plist_t item = ::plist_array_get_item(menu, i);
    const std::string action = text(item, "Action");
    if (!delegate.respondsToSelector(action)) {
      throw broken(path, "names the action \"" + action + "\", which nothing answers");
    }
    items.push_back(std::make_shared<NSMenuItem>(text(item, "Title"), action));
  }
  if (items.size() < kFixedItems) {
    throw broken(path, "does not have two fixed items");
  }
  return items;
}

}  // namespace

void NSApplication::loadInterface(const std::string& path, const NSClassTable& classes) {
  const PropertyList file = readPropertyList(path);
  if (!file) {
    throw broken(path, "is missing or damaged");
  }
  const std::string delegate = text(file.get(), "DelegateClass");
  const auto known = classes.find(delegate);
  if (known == classes.end()) {
    throw broken(path, "names the delegate class \"" + delegate + "\", which there is not");
  }
  delegate_ = known->second();
  menu_ = std::make_shared<NSMenu>();
  menu_->setDelegate(dynamic_cast<NSMenuDelegate*>(delegate_.get()));
  menu_->setItemArray(makeItems(propertyListItem(file.get(), "Menu"), *delegate_, path));
  const std::string outlet = text(file.get(), "MenuOutlet");
  if (!delegate_->connectOutlet(outlet, menu_)) {
    throw broken(path, "names the outlet \"" + outlet + "\", which there is not");
  }
}

}  // namespace quorvel
