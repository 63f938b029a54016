#include "Tools/diskutil/Sizes.hpp"

#include <array>
#include <cstdio>

namespace quorvel {

std::string shortSize(std::uint64_t bytes) {
  constexpr std::array<const char*, 7> kUnits{"B", "KB", "MB", "GB", "TB", "PB", "EB"};
  constexpr double kRoundsUp = 999.95;  // To 1.0 of the next unit.
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= kRoundsUp && unit + 1 < kUnits.size(); ++unit) {
    size /= 1000;
  }
  std::array<char, 32> text{};
  static_cast<void>(
      std::snprintf(text.data(), text.size(), "%.*f %s", unit == 0 ? 0 : 1, size, kUnits.at(unit)));
  return text.data();
}

}  // namespace quorvel
