// Owners for what sd-bus hands out.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>

namespace quorvel {

struct BusDeleter {
  void operator()(sd_bus* bus) const { ::sd_bus_close_unref(bus); }
};
/// Owns a connection. Its end waits for nothing: what has to arrive is flushed before.
using Bus = std::unique_ptr<sd_bus, BusDeleter>;

/// A connection of its own to the user's session bus, which has let us in. Null with errno set when
/// there is none.
[[nodiscard]] Bus openSessionBus();

struct BusSlotDeleter {
  void operator()(sd_bus_slot* slot) const { ::sd_bus_slot_unref(slot); }
};
/// Owns a registration on a connection: an exported object, a match, a call that waits.
using BusSlot = std::unique_ptr<sd_bus_slot, BusSlotDeleter>;

struct BusMessageDeleter {
  void operator()(sd_bus_message* message) const { ::sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageDeleter>;

struct BusTrackDeleter {
  void operator()(sd_bus_track* track) const { ::sd_bus_track_unref(track); }
};
/// Owns a watch over the life of other connections.
using BusTrack = std::unique_ptr<sd_bus_track, BusTrackDeleter>;

}  // namespace quorvel
