// Disk identifiers: the names that diskutil prints and takes.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// A disk ("disk" and the kernel's disk sequence number) or one of its partitions ("s" and the
/// partition number after it). The kernel gives a sequence number once only, so an identifier never
/// comes to mean another disk.
struct Identifier {
  std::uint64_t disk = 0;
  std::optional<std::uint32_t> partition;

  friend auto operator<=>(const Identifier&, const Identifier&) = default;  // NOLINT(*-use-nullptr)
};

/// Exactly disk[0-9]+(s[0-9]+)? without superfluous zeros: "disk3", "disk3s1". None for any other
/// text, and for numbers that do not fit.
[[nodiscard]] std::optional<Identifier> parseIdentifier(std::string_view text);

/// The same, also with "/dev/" before it: what people and the agent pass as an argument.
[[nodiscard]] std::optional<Identifier> parseIdentifierOrNode(std::string_view text);

/// "disk3s1"
[[nodiscard]] std::string toText(const Identifier& identifier);
/// "/dev/disk3s1"
[[nodiscard]] std::string nodePath(const Identifier& identifier);

}  // namespace quorvel
