#include "Tools/statusmenu/MenuLayout.hpp"

#include <string_view>

namespace quorvel {
namespace {

// Walks through a reply once, from the front. How deep it goes is limited by the bus, which takes
// no message that is nested deeper.
class LayoutReader {
 public:
  explicit LayoutReader(sd_bus_message* message) : message_(message) {}

  MenuEntry readEntry() {
    MenuEntry entry;
    enter(SD_BUS_TYPE_STRUCT, "ia{sv}av");
    read(SD_BUS_TYPE_INT32, &entry.id);
    readProperties(entry);
    readChildren(entry);
    leave();
    return entry;
  }

  void read(char type, void* value) {
    requireMessage(::sd_bus_message_read_basic(message_, type, value));
  }

 private:
  bool enter(char type, const char* contents) {
    return requireMessage(::sd_bus_message_enter_container(message_, type, contents)) > 0;
  }

  void leave() { requireMessage(::sd_bus_message_exit_container(message_)); }

  void readProperties(MenuEntry& entry) {
    enter(SD_BUS_TYPE_ARRAY, "{sv}");
    while (enter(SD_BUS_TYPE_DICT_ENTRY, "sv")) {
      const char* name = nullptr;
      read(SD_BUS_TYPE_STRING, static_cast<void*>(&name));
      readProperty(entry, name);
      leave();
    }
    leave();
  }

  void readProperty(MenuEntry& entry, std::string_view name) {
    if (name == "label") {
      readText(entry.label);
    } else if (name == "type") {
      readText(entry.type);
    } else if (name == "toggle-type") {
      readText(entry.toggleType);
    } else if (name == "toggle-state") {
      readNumber(entry.toggleState);
    } else if (name == "children-display") {
      readText(entry.childrenDisplay);
    } else if (name == "enabled") {
      readFlag(entry.isEnabled);
    } else if (name == "visible") {
      readFlag(entry.isVisible);
    } else {
      skip();
    }
  }

  void readChildren(MenuEntry& entry) {
    enter(SD_BUS_TYPE_ARRAY, "v");
    while (enter(SD_BUS_TYPE_VARIANT, "(ia{sv}av)")) {
      entry.children.push_back(readEntry());
      leave();
    }
    leave();
  }

  void readText(std::string& text) {
    const char* value = nullptr;
    if (readVariant(SD_BUS_TYPE_STRING, "s", static_cast<void*>(&value))) {
      text = value;
    }
  }

  void readNumber(std::int32_t& number) { readVariant(SD_BUS_TYPE_INT32, "i", &number); }

  void readFlag(bool& flag) {
    int value = 0;
    if (readVariant(SD_BUS_TYPE_BOOLEAN, "b", &value)) {
      flag = value != 0;
    }
  }

  bool readVariant(char type, const char* contents, void* value) {
    if (requireMessage(::sd_bus_message_verify_type(message_, SD_BUS_TYPE_VARIANT, contents)) ==
        0) {
      skip();
      return false;
    }
    enter(SD_BUS_TYPE_VARIANT, contents);
    read(type, value);
    leave();
    return true;
  }

  void skip() { requireMessage(::sd_bus_message_skip(message_, "v")); }

  sd_bus_message* message_;
};

}  // namespace

MenuEntry readLayout(const BusMessage& reply) {
  LayoutReader reader(reply.get());
  std::uint32_t revision = 0;
  reader.read(SD_BUS_TYPE_UINT32, &revision);
  return reader.readEntry();
}

}  // namespace quorvel
