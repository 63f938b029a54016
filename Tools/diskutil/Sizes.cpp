#include "Tools/diskutil/Sizes.hpp"

#include <array>
#include <string_view>

namespace quorvel {

std::string shortSize(std::uint64_t bytes) {
  constexpr std::array<std::string_view, 6> kUnits{" KB", " MB", " GB", " TB", " PB", " EB"};
  if (bytes < 1000) {
    return std::to_string(bytes) + " B";
  }
  // In tenths of the unit, rounded; 999.96 KB rounds up to 1.0 MB.
  std::uint64_t divisor = 100;
  std::size_t unit = 0;
  const auto tenths = [&] { return bytes / divisor + (bytes % divisor >= divisor / 2 ? 1 : 0); };
  while (tenths() >= 10000 && unit + 1 < kUnits.size()) {
    divisor *= 1000;
    ++unit;
  }
  return std::to_string(tenths() / 10) + "." + std::to_string(tenths() % 10) +
         std::string(kUnits.at(unit));
}

}  // namespace quorvel
