#include "Platform/Linux/MainInterface.hpp"

#include <cstdint>

#include "Platform/Linux/Support/PropertyList.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kFixedItems = 2;

std::string text(plist_t dictionary, std::string_view key) {
  return propertyListText(propertyListItem(dictionary, key)).value_or("");
}

std::vector<MainInterface::Item> readItems(plist_t menu) {
  std::vector<MainInterface::Item> items;
  const bool isArray = menu != nullptr && ::plist_get_node_type(menu) == PLIST_ARRAY;
  for (uint32_t i = 0; isArray && i < ::plist_array_get_size(menu); ++i) {
    plist_t item = ::plist_array_get_item(menu, i);
    items.push_back({.title = text(item, "Title"), .action = text(item, "Action")});
  }
  return items;
}

}  // namespace

MainInterface readMainInterface(const std::string& path) {
  const PropertyList file = readPropertyList(path);
  if (!file) {
    throw brokenInterface(path, "is missing or damaged");
  }
  MainInterface interface {
    .delegateClass = text(file.get(), "DelegateClass"),
    .menuOutlet = text(file.get(), "MenuOutlet"),
    .items = readItems(propertyListItem(file.get(), "Menu"))
  };
  if (interface.items.size() < kFixedItems) {
    throw brokenInterface(path, "does not have two fixed items");
  }
  return interface;
}

std::runtime_error brokenInterface(const std::string& path, const std::string& complaint) {
  return std::runtime_error(path + " " + complaint + "; install the application again.");
}

}  // namespace quorvel
