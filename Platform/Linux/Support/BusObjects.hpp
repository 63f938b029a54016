// Owners for what sd-bus hands out.
#pragma once

#include <systemd/sd-bus.h>

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

}  // namespace quorvel
