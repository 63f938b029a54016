// Our connection to the user's session bus.
#pragma once

#include <systemd/sd-bus.h>

namespace quorvel {

/// The connection, served by the main event loop; made at the first call that finds a bus, and made
/// again after the bus has gone. Null while there is no bus. It belongs to the main thread.
sd_bus* sessionBus();

}  // namespace quorvel
