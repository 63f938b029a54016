#include "Tools/statusmenu/MenuClient.hpp"

#include <cerrno>
#include <string_view>
#include <utility>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// Nobody has the name, or an agent has it that is still starting.
bool meansNoAgent(int error) { return error == EHOSTUNREACH || error == ENXIO || error == EBADR; }

[[noreturn]] void fail(int error, const std::string& service) {
  if (meansNoAgent(error)) {
    throw ToolError("statusmenu: The agent is not running: " + service +
                        " is not on this session bus. Start it and try again.",
                    kNoAgent);
  }
  throw ToolError(errorText("statusmenu: The agent's menu cannot be used", error) +
                  ". Try again, or start the agent anew.");
}

void readProperty(sd_bus_message* reply, MenuEntry& entry) {
  const char* name = nullptr;
  ::sd_bus_message_read(reply, "s", &name);
  const std::string_view property(name);
  const char* text = nullptr;
  int truth = 0;
  if (property == "label" && ::sd_bus_message_read(reply, "v", "s", &text) > 0) {
    entry.label = text;
  } else if (property == "enabled" && ::sd_bus_message_read(reply, "v", "b", &truth) > 0) {
    entry.isEnabled = truth != 0;
  } else if (property == "type" && ::sd_bus_message_read(reply, "v", "s", &text) > 0) {
    entry.isSeparator = std::string_view(text) == "separator";
  } else {
    ::sd_bus_message_skip(reply, "v");
  }
}

MenuEntry readEntry(sd_bus_message* reply) {
  MenuEntry entry;
  ::sd_bus_message_enter_container(reply, SD_BUS_TYPE_STRUCT, "ia{sv}av");
  ::sd_bus_message_read(reply, "i", &entry.id);
  ::sd_bus_message_enter_container(reply, SD_BUS_TYPE_ARRAY, "{sv}");
  while (::sd_bus_message_enter_container(reply, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
    readProperty(reply, entry);
    ::sd_bus_message_exit_container(reply);
  }
  ::sd_bus_message_exit_container(reply);
  ::sd_bus_message_skip(reply, "av");
  ::sd_bus_message_exit_container(reply);
  return entry;
}

}  // namespace

MenuClient::MenuClient(std::string service) : bus_(openSessionBus()), service_(std::move(service)) {
  if (!bus_) {
    throw ToolError(errorText("statusmenu: There is no session bus to be reached") +
                        ". Run this inside the desktop session, or in a shell of the same user "
                        "with DBUS_SESSION_BUS_ADDRESS set as it is there, such as "
                        "unix:path=/run/user/1000/bus.",
                    kNoSessionBus);
  }
}

template <typename... Arguments>
BusMessage MenuClient::call(const char* member, const char* types, Arguments... arguments) const {
  sd_bus_message* reply = nullptr;
  const int result = ::sd_bus_call_method(bus_.get(), service_.c_str(), kMenuPath, kMenuInterface,
                                          member, nullptr, &reply, types, arguments...);
  if (result < 0) {
    fail(-result, service_);
  }
  return BusMessage(reply);
}

bool MenuClient::aboutToShow() const {
  int isNew = 0;
  const BusMessage reply = call("AboutToShow", "i", 0);
  return ::sd_bus_message_read(reply.get(), "b", &isNew) > 0 && isNew != 0;
}

BusMessage MenuClient::layout() const { return call("GetLayout", "iias", 0, -1, 0); }

void MenuClient::sendEvent(std::int32_t id, const char* type) const {
  call("Event", "isvu", id, type, "i", 0, 0);
}

std::vector<MenuEntry> entriesOf(const BusMessage& layout) {
  sd_bus_message* const reply = layout.get();
  if (::sd_bus_message_has_signature(reply, "u(ia{sv}av)") <= 0) {
    throw ToolError("statusmenu: The agent's answer is no menu. Start the agent anew.");
  }
  std::vector<MenuEntry> entries;
  ::sd_bus_message_skip(reply, "u");
  ::sd_bus_message_enter_container(reply, SD_BUS_TYPE_STRUCT, "ia{sv}av");
  ::sd_bus_message_skip(reply, "ia{sv}");
  ::sd_bus_message_enter_container(reply, SD_BUS_TYPE_ARRAY, "v");
  while (::sd_bus_message_enter_container(reply, SD_BUS_TYPE_VARIANT, "(ia{sv}av)") > 0) {
    entries.push_back(readEntry(reply));
    ::sd_bus_message_exit_container(reply);
  }
  return entries;
}

}  // namespace quorvel
