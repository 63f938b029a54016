#include "Tests/Support/ClockSpeed.hpp"

#include <cstdlib>

namespace quorvel::test {

std::string fastClock(int speed, const std::filesystem::path& library) {
  const char* const options = std::getenv("ASAN_OPTIONS");  // NOLINT(concurrency-mt-unsafe)
  return "LD_PRELOAD=" + library.string() + " CLOCK_SPEED=" + std::to_string(speed) +
         " ASAN_OPTIONS='" + (options == nullptr ? "" : options) + ":verify_asan_link_order=0' ";
}

}  // namespace quorvel::test
