// Calls over the user's session bus, made one after the other.
#pragma once

#include <string>

#include "Platform/Linux/Support/BusObjects.hpp"

namespace quorvel {

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
  [[nodiscard]] BusMessage newCall(const BusAddress& to, const char* interface,
                                   const char* member) const;

  /// Sends `request` and waits for the reply, some seconds at most. Throws a StatusError (noItem,
  /// noAnswer, noSessionBus), or a ToolError with what the other side complains about.
  [[nodiscard]] BusMessage call(const BusMessage& request) const;

  /// As `call`, but a complaint is the caller's to ignore: it is returned as a null message.
  [[nodiscard]] BusMessage tryCall(const BusMessage& request) const;

  /// Sends `request` without asking for a reply; what cannot be sent is dropped.
  void post(const BusMessage& request) const;

  /// The reply with a property, standing before its value. Throws a StatusError (noItem) also when
  /// there is no such property of that type.
  [[nodiscard]] BusMessage property(const BusAddress& of, const char* interface, const char* name,
                                    const char* type) const;

 private:
  Bus bus_;
};

}  // namespace quorvel
