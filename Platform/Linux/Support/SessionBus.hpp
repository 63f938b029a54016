// Our connection to the user's session bus. Everything here belongs to the main thread.
#pragma once

#include <functional>
#include <string>

#include "Platform/Linux/Support/Bus.hpp"

namespace quorvel {

/// What becomes of the connection.
struct SessionBusEvents {
  std::function<void()> nameIsTaken;  ///< By another program; the connection stays unused.
  std::function<void()> ended;        ///< After it had come.
};

/// Connects under that name, served by the main event loop and without waiting for anything: a bus
/// that is not there, or does not answer, is tried again until there is one.
void connectToSessionBus(const std::string& name, SessionBusEvents events);

/// The connection, once the bus has given us the name. Null while there is none.
sd_bus* sessionBus();

/// Has `work` done with the connection as soon as there is one. To be called before the loop runs.
void whenSessionBusComes(std::function<void(sd_bus*)> work);

}  // namespace quorvel
