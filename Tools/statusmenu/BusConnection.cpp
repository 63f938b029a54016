#include "Tools/statusmenu/BusConnection.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/statusmenu/StatusError.hpp"

namespace quorvel {
namespace {

constexpr std::uint64_t kAnswerTime = 10'000'000;  // Microseconds.

// What the bus or the other program says when there is no such name, not that object in it, or when
// it ends before it has answered.
constexpr std::array<std::string_view, 4> kAbsent{
    SD_BUS_ERROR_SERVICE_UNKNOWN,
    SD_BUS_ERROR_NAME_HAS_NO_OWNER,
    SD_BUS_ERROR_UNKNOWN_OBJECT,
    SD_BUS_ERROR_NO_REPLY,
};

class ErrorReply {
 public:
  ErrorReply() = default;
  ~ErrorReply() { ::sd_bus_error_free(&error_); }
  ErrorReply(const ErrorReply&) = delete;
  ErrorReply& operator=(const ErrorReply&) = delete;

  sd_bus_error* get() { return &error_; }
  [[nodiscard]] std::string_view name() const { return error_.name == nullptr ? "" : error_.name; }
  [[nodiscard]] std::string text() const {
    return printable(error_.message == nullptr ? name() : error_.message);
  }

 private:
  sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

[[noreturn]] void failWithoutBus(int error) {
  throw StatusError(ExitStatus::noSessionBus,
                    errorText("statusmenu: there is no session bus to be reached", error) +
                        ". Run this inside the desktop session, or in a shell of the same user "
                        "with DBUS_SESSION_BUS_ADDRESS set as it is there, such as "
                        "unix:path=/run/user/1000/bus.");
}

std::string describe(sd_bus_message* request) {
  return std::string(::sd_bus_message_get_destination(request)) +
         ::sd_bus_message_get_path(request);
}

[[noreturn]] void failAbsent(sd_bus_message* request, const ErrorReply& error) {
  throw StatusError(ExitStatus::noItem, "statusmenu: " + describe(request) +
                                            " is not on the session bus: " + error.text() +
                                            ". Is its program running?");
}

// Only what means that asking on is of no use; an ordinary complaint comes back.
void failWhenUnreachable(sd_bus_message* request, int result, const ErrorReply& error) {
  if (std::find(kAbsent.begin(), kAbsent.end(), error.name()) != kAbsent.end()) {
    failAbsent(request, error);
  }
  if (result == -ETIMEDOUT) {
    throw StatusError(ExitStatus::noAnswer, "statusmenu: " + describe(request) +
                                                " does not answer. It may be busy: try again.");
  }
  if (result == -ECONNRESET || result == -ENOTCONN) {
    failWithoutBus(-result);
  }
}

// The reply; null for a complaint, which then is in `error`.
BusMessage exchange(sd_bus* bus, sd_bus_message* request, ErrorReply& error) {
  sd_bus_message* reply = nullptr;
  const int result = ::sd_bus_call(bus, request, kAnswerTime, error.get(), &reply);
  if (result < 0) {
    failWhenUnreachable(request, result, error);
  }
  return BusMessage(reply);
}

}  // namespace

int requireMessage(int result) {
  if (result < 0) {
    throw ToolError(errorText("statusmenu: a message of the bus is not as it should be", -result));
  }
  return result;
}

BusConnection::BusConnection() {
  sd_bus* opened = nullptr;
  const int result = ::sd_bus_open_user(&opened);
  bus_.reset(opened);
  const char* ownName = nullptr;  // Known once the bus has let us in.
  const int welcome = result < 0 ? result : ::sd_bus_get_unique_name(opened, &ownName);
  if (welcome < 0) {
    failWithoutBus(-welcome);
  }
}

BusMessage BusConnection::newCall(const BusAddress& to, const char* interface,
                                  const char* member) const {
  sd_bus_message* created = nullptr;
  requireMessage(::sd_bus_message_new_method_call(bus_.get(), &created, to.name.c_str(),
                                                  to.path.c_str(), interface, member));
  BusMessage message(created);
  requireMessage(::sd_bus_message_set_auto_start(created, 0));
  return message;
}

BusMessage BusConnection::call(const BusMessage& request) const {
  ErrorReply error;
  BusMessage reply = exchange(bus_.get(), request.get(), error);
  if (!reply) {
    throw ToolError("statusmenu: " + describe(request.get()) + " says: " + error.text());
  }
  return reply;
}

BusMessage BusConnection::tryCall(const BusMessage& request) const {
  ErrorReply ignored;
  return exchange(bus_.get(), request.get(), ignored);
}

void BusConnection::post(const BusMessage& request) const {
  if (::sd_bus_message_set_expect_reply(request.get(), 0) >= 0) {
    static_cast<void>(::sd_bus_send(bus_.get(), request.get(), nullptr));
  }
}

BusMessage BusConnection::property(const BusAddress& of, const char* interface, const char* name,
                                   const char* type) const {
  const BusMessage request = newCall(of, "org.freedesktop.DBus.Properties", "Get");
  requireMessage(::sd_bus_message_append(request.get(), "ss", interface, name));
  BusMessage reply = tryCall(request);
  if (!reply || ::sd_bus_message_enter_container(reply.get(), SD_BUS_TYPE_VARIANT, type) <= 0) {
    throw StatusError(ExitStatus::noItem,
                      "statusmenu: " + of.name + of.path + " is no tray item with a " + name + ".");
  }
  return reply;
}

}  // namespace quorvel
