// Our connection to the user's session bus. Everything here belongs to the main thread.
#pragma once

#include <functional>
#include <string>

#include "Platform/Linux/Support/BusObjects.hpp"

namespace quorvel {

/// The connection, served by the main event loop; made at the first call that finds a bus. Null
/// while there is none.
sd_bus* sessionBus();

/// Has `work` done with the connection: now, or, while there is no bus, as soon as there is one.
void whenSessionBusComes(std::function<void(sd_bus*)> work);

/// Has `work` done when a bus that we were connected to has ended.
void whenSessionBusEnds(std::function<void()> work);

}  // namespace quorvel
