#include "Tools/statusmenu/MenuClient.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

using Reason = MenuError::Reason;

// What the bus says when nobody has the name, or when its owner ends before it has answered, and
// what an agent says that is still starting.
constexpr std::array<std::string_view, 4> kAbsent{
    SD_BUS_ERROR_SERVICE_UNKNOWN,
    SD_BUS_ERROR_NAME_HAS_NO_OWNER,
    SD_BUS_ERROR_UNKNOWN_OBJECT,
    SD_BUS_ERROR_NO_REPLY,
};

struct ErrorReply {
  sd_bus_error error = SD_BUS_ERROR_NULL;

  ErrorReply() = default;
  ~ErrorReply() { ::sd_bus_error_free(&error); }
  ErrorReply(const ErrorReply&) = delete;
  ErrorReply& operator=(const ErrorReply&) = delete;
};

[[noreturn]] void fail(const sd_bus_error& error, const std::string& service) {
  const std::string_view name = error.name == nullptr ? "" : error.name;
  if (std::find(kAbsent.begin(), kAbsent.end(), name) != kAbsent.end()) {
    throw MenuError(Reason::noAgent, "The agent is not running: " + service +
                                         " is not on this session bus. Start it and try again.");
  }
  throw MenuError(Reason::refused, "The agent's menu cannot be used: " +
                                       printable(error.message == nullptr ? name : error.message) +
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
    throw MenuError(Reason::noSessionBus,
                    errorText("There is no session bus to be reached") +
                        ". Run this inside the desktop session, or in a shell of the same user "
                        "with DBUS_SESSION_BUS_ADDRESS set as it is there, such as "
                        "unix:path=/run/user/1000/bus.");
  }
}

template <typename... Arguments>
BusMessage MenuClient::call(const char* member, const char* types, Arguments... arguments) const {
  ErrorReply failure;
  sd_bus_message* reply = nullptr;
  if (::sd_bus_call_method(bus_.get(), service_.c_str(), kMenuPath, kMenuInterface, member,
                           &failure.error, &reply, types, arguments...) < 0) {
    fail(failure.error, service_);
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
    throw MenuError(Reason::refused, "The agent's answer is no menu. Start the agent anew.");
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
