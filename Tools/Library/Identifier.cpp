#include "Tools/Library/Identifier.hpp"

#include <charconv>

namespace quorvel {
namespace {

constexpr std::string_view kDisk = "disk";
constexpr std::string_view kNodeFolder = "/dev/";

// Takes the digits at the front of `text`. "01" is refused: one disk has one name.
template <typename Number>
std::optional<Number> takeNumber(std::string_view& text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const auto length = static_cast<std::size_t>(end - text.data());
  if (error != std::errc() || (text.front() == '0' && length > 1)) {
    return std::nullopt;
  }
  text.remove_prefix(length);
  return number;
}

}  // namespace

std::optional<Identifier> parseIdentifier(std::string_view text) {
  if (!text.starts_with(kDisk)) {
    return std::nullopt;
  }
  text.remove_prefix(kDisk.size());
  const auto disk = takeNumber<std::uint64_t>(text);
  if (!disk || text.empty()) {
    return disk ? std::optional(Identifier{.disk = *disk, .partition = {}}) : std::nullopt;
  }
  if (text.front() != 's') {
    return std::nullopt;
  }
  text.remove_prefix(1);
  const auto partition = takeNumber<std::uint32_t>(text);
  if (!partition || !text.empty()) {
    return std::nullopt;
  }
  return Identifier{.disk = *disk, .partition = partition};
}

std::optional<Identifier> parseIdentifierOrNode(std::string_view text) {
  if (text.starts_with(kNodeFolder)) {
    text.remove_prefix(kNodeFolder.size());
  }
  return parseIdentifier(text);
}

std::string toText(const Identifier& identifier) {
  std::string text = std::string(kDisk) + std::to_string(identifier.disk);
  if (identifier.partition) {
    text += 's' + std::to_string(*identifier.partition);
  }
  return text;
}

std::string nodePath(const Identifier& identifier) {
  return std::string(kNodeFolder) + toText(identifier);
}

}  // namespace quorvel
