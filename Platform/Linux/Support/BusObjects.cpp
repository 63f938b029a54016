#include "Platform/Linux/Support/BusObjects.hpp"

#include <cerrno>
#include <utility>

namespace quorvel {

Bus openSessionBus() {
  sd_bus* opened = nullptr;
  const char* name = nullptr;
  int result = ::sd_bus_open_user(&opened);
  Bus bus(opened);
  if (result >= 0) {
    // A socket may be there with nobody, or somebody else, behind it: a name proves that it is a
    // bus.
    result = ::sd_bus_get_unique_name(opened, &name);
  }
  errno = result < 0 ? -result : 0;
  return result < 0 ? nullptr : std::move(bus);
}

}  // namespace quorvel
