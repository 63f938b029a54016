// Calls over the user's session bus, made one after the other.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace quorvel {

struct MessageDeleter {
  void operator()(sd_bus_message* message) const { ::sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageDeleter>;

/// An object of another program: whom to ask, and for what.
struct BusAddress {
  std::string name;
  std::string path;
};

/// Throws a ToolError about the message that could not be written or read when `result` is
/// negative; hands `result` back otherwise.
int requireMessage(int result);

/// A connection of our own. Not to be shared between threads.
class BusConnection {
 public:
  /// Connects. Throws a StatusError (noSessionBus) when there is nothing to connect to.
  BusConnection();

  /// A call without arguments yet. Nobody is started by it who is not running.
  [[nodiscard]] Message newCall(const BusAddress& to, const char* interface,
                                const char* member) const;

  /// Sends `request` and waits for the reply, some seconds at most. Throws a StatusError (noItem,
  /// noAnswer, noSessionBus), or a ToolError with what the other side complains about.
  [[nodiscard]] Message call(const Message& request) const;

  /// As `call`, but a complaint is the caller's to ignore: it is returned as a null message.
  [[nodiscard]] Message tryCall(const Message& request) const;

  /// Sends `request` without asking for a reply; what cannot be sent is dropped.
  void post(const Message& request) const;

  /// The reply with a property, standing before its value. Throws a StatusError (noItem) also when
  /// there is no such property of that type.
  [[nodiscard]] Message property(const BusAddress& of, const char* interface, const char* name,
                                 const char* type) const;

 private:
  struct BusDeleter {
    void operator()(sd_bus* bus) const { ::sd_bus_flush_close_unref(bus); }
  };
  std::unique_ptr<sd_bus, BusDeleter> bus_;
};

}  // namespace quorvel
