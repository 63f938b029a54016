#include "Tools/Library/Identifier.hpp"

#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/SystemFiles.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kDisk = "disk";
constexpr std::string_view kNodeFolder = "/dev/";

}  // namespace

std::optional<Identifier> parseIdentifier(std::string_view text) {
  if (!text.starts_with(kDisk)) {
    return std::nullopt;
  }
  std::string_view rest = text.substr(kDisk.size());
  const auto disk = parseNumber<std::uint64_t>(takeUntil(rest, 's'));
  const Identifier identifier{.disk = disk.value_or(0),
                              .partition = parseNumber<std::uint32_t>(rest)};
  // One device has one name: no superfluous zeros, and nothing that was not understood.
  return disk && toText(identifier) == text ? std::optional(identifier) : std::nullopt;
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
