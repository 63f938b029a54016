#include "Platform/Linux/StatusNotifier/MenuProperties.hpp"

#include <algorithm>
#include <cstdint>

#include "Platform/Linux/Support/BusText.hpp"

namespace quorvel {
namespace {

/// Writes properties, as far as they were asked for.
class Properties {
 public:
  Properties(sd_bus_message* message, const std::vector<std::string>& names)
      : message_(message), names_(names) {}

  void text(const char* name, const std::string& value) const {
    if (isWanted(name)) {
      ::sd_bus_message_append(message_, "{sv}", name, "s", value.c_str());
    }
  }
  void truth(const char* name, bool value) const {
    if (isWanted(name)) {
      ::sd_bus_message_append(message_, "{sv}", name, "b", static_cast<int>(value));
    }
  }
  void number(const char* name, std::int32_t value) const {
    if (isWanted(name)) {
      ::sd_bus_message_append(message_, "{sv}", name, "i", value);
    }
  }

 private:
  [[nodiscard]] bool isWanted(std::string_view name) const {
    return names_.empty() || std::find(names_.begin(), names_.end(), name) != names_.end();
  }

  sd_bus_message* message_;
  const std::vector<std::string>& names_;
};

void appendItem(const Properties& properties, const NSMenuItem& item) {
  properties.text("label", menuLabel(item.title()));
  properties.truth("enabled", !item.action().empty());
  const bool isOn = item.state() == NSControlStateValue::on;
  properties.number("toggle-state", isOn ? 1 : 0);
  properties.text("toggle-type", isOn && item.showsCheckMark() ? "checkmark" : "");
}

}  // namespace

std::string menuLabel(std::string_view title) {
  std::string label;
  for (const char character : busText(title)) {
    label.append(character == '_' ? 2 : 1, character);
  }
  return label;
}

void appendMenuProperties(sd_bus_message* message, const NSMenuItem* item,
                          const std::vector<std::string>& names) {
  const Properties properties(message, names);
  ::sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "{sv}");
  if (item == nullptr) {
    properties.text("children-display", "submenu");
  } else if (item->isSeparatorItem()) {
    properties.text("type", "separator");
    properties.truth("visible", true);
  } else {
    properties.truth("visible", true);
    appendItem(properties, *item);
  }
  ::sd_bus_message_close_container(message);
}

}  // namespace quorvel
