// sd-bus: owners for what it hands out, and how it and this layer call each other.
#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "Platform/Linux/Support/EventLoop.hpp"
#include "Platform/Linux/Support/Owned.hpp"

namespace quorvel {

/// Owns a connection. Its end waits for nothing: what has to arrive is flushed before.
using Bus = Owned<sd_bus, ::sd_bus_close_unref>;

/// A connection of its own to the user's session bus, which has let us in. Null with errno set when
/// there is none.
[[nodiscard]] Bus openSessionBus();

/// Owns a registration on a connection: an exported object, a match, a call that waits.
using BusSlot = Owned<sd_bus_slot, ::sd_bus_slot_unref>;

using BusMessage = Owned<sd_bus_message, ::sd_bus_message_unref>;

/// Owns a watch over the life of other connections.
using BusTrack = Owned<sd_bus_track, ::sd_bus_track_unref>;

/// The one place that looks at an answer of sd-bus where a failure changes nothing of what is done
/// next: it is reported on standard error as what we could not do. Messages are checked when they
/// are sent: sd-bus refuses to send one that could not be written in full.
void checkBus(std::string_view attempt, int result);

/// Gives the bus what is still to be sent, unless it has been taking nothing for two seconds: the
/// menu and our end do not wait for a bus that is stuck.
void flushBus(sd_bus* bus);

/// The text with U+FFFD for what the bus would refuse the whole message for: bytes that are no
/// UTF-8, NUL, and what Unicode calls noncharacters, which names of volumes may hold.
[[nodiscard]] std::string busText(std::string_view text);

template <typename Object>
int callHandler(int (*handler)(Object&, sd_bus_message*), void* object, sd_bus_message* message) {
  return handler(*static_cast<Object*>(object), message);
}

/// `Handler`, an int(Object&, sd_bus_message*), as sd-bus calls it with an object as its context.
/// No exception passes: whoever called then gets an error.
template <auto Handler>
int busHandler(sd_bus_message* message, void* object, sd_bus_error* /*error*/) {
  int result = -ENOMEM;
  performGuarded([&] { result = callHandler(Handler, object, message); });
  return result;
}

}  // namespace quorvel
