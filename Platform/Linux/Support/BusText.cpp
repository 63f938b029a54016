#include "Platform/Linux/Support/BusText.hpp"

#include "Platform/Text/UTF8.hpp"

namespace quorvel {
namespace {

/// NUL, U+FDD0 to U+FDEF, and the last two code points of every plane.
bool isRefusedByBus(char32_t point) {
  return point == 0 || (point >= 0xFDD0 && point <= 0xFDEF) || (point & 0xFFFEU) == 0xFFFEU;
}

}  // namespace

std::string busText(std::string_view text) {
  return replaceRefused(text, isRefusedByBus, "\xEF\xBF\xBD");  // U+FFFD
}

}  // namespace quorvel
