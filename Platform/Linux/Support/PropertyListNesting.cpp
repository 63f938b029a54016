#include "Platform/Linux/Support/PropertyListNesting.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Platform/Linux/Support/PropertyList.hpp"
#include "Platform/Text/TakeUntil.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kDeepest = 256;

/// Takes all through the first `end` away; everything where there is none.
void skipThrough(std::string_view& text, std::string_view end) {
  const std::size_t at = text.find(end);
  text = at == std::string_view::npos ? "" : text.substr(at + end.size());
}

/// A tag ends at its first ">", unless that stands in quotes, in an instruction or among a document
/// type's own declarations: libplist then goes on, and nobody's settings look like that.
std::size_t depthBehind(std::string_view tag, std::size_t depth) {
  const bool isCut = std::ranges::count(tag, '"') % 2 != 0 ||
                     (tag.starts_with('?') && !tag.ends_with('?')) ||
                     (tag.starts_with('!') && tag.find('[') != std::string_view::npos);
  if (isCut) {
    return kDeepest + 1;
  }
  if (tag.starts_with('/')) {
    return depth > 0 ? depth - 1 : 0;
  }
  return depth + (tag.starts_with('!') || tag.starts_with('?') || tag.ends_with('/') ? 0 : 1);
}

bool isXmlTooDeep(std::string_view rest) {
  std::size_t depth = 0;
  for (takeUntil(rest, '<'); !rest.empty() && depth <= kDeepest; takeUntil(rest, '<')) {
    if (rest.starts_with("!--")) {
      skipThrough(rest, "--");  // They are not the end's as well.
      skipThrough(rest, "-->");
    } else if (rest.starts_with("![CDATA[")) {
      skipThrough(rest, "]]>");
    } else {
      depth = depthBehind(takeUntil(rest, '>'), depth);
    }
  }
  return depth > kDeepest;
}

/// A binary list: objects, a table of where each begins, and a trailer of 32 bytes that describes
/// the table. What has no fixed size begins with its count of bytes, of characters, or of numbers
/// of other objects.
class BinaryList {
 public:
  explicit BinaryList(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] bool isTooDeep() { return isTooDeep(number(trailer_ + 16, 8), 0); }

 private:
  struct Object {
    std::uint64_t size = 0;  ///< What a copy takes at least, in bytes.
    std::uint64_t elements = 0;
    std::uint64_t first = 0;  ///< Where the numbers of the elements begin.
  };

  bool isTooDeep(std::uint64_t index, std::size_t depth) {
    const Object object = objectAt(number(table_ + index * offsetSize_, offsetSize_));
    if (depth > kDeepest || object.size > room_) {
      return true;
    }
    room_ -= object.size;
    for (std::uint64_t i = 0; i < object.elements; ++i) {
      if (isTooDeep(number(object.first + i * referenceSize_, referenceSize_), depth + 1)) {
        return true;
      }
    }
    return false;
  }

  /// Of a long one the last eight bytes, as libplist has it.
  [[nodiscard]] std::uint64_t number(std::uint64_t at, std::uint64_t size) const {
    std::uint64_t value = 0;
    const auto bytes = bytes_.substr(std::min<std::uint64_t>(at, bytes_.size()), size);
    for (const char byte : bytes.substr(bytes.size() - std::min<std::size_t>(bytes.size(), 8))) {
      value = value << 8U | static_cast<std::uint8_t>(byte);
    }
    return value;
  }

  [[nodiscard]] Object objectAt(std::uint64_t at) const {
    constexpr std::uint64_t kSmallest = 64;
    constexpr std::uint64_t kMore = 0xF;
    constexpr std::uint64_t kContainers = 0xA0;  // From here on; before them texts and the like.
    constexpr std::uint64_t kDictionary = 0xD0;
    const std::uint64_t marker = number(at, 1);
    std::uint64_t first = at + 1;
    std::uint64_t count = marker & kMore;
    if (count == kMore) {  // An integer follows, its marker first.
      const std::uint64_t size = std::uint64_t{1} << (number(first, 1) & kMore);
      count = number(first + 1, size);
      first += 1 + size;
    }
    if (marker < kContainers) {
      return {.size = kSmallest + count};
    }
    return {kSmallest, marker < kDictionary ? count : 2 * count, first};
  }

  std::string_view bytes_;
  /// Whoever reads a list copies what several containers share for each of them, so that a short
  /// one may come to take all memory there is.
  std::uint64_t room_ = 4 * kLargestPropertyList;
  std::uint64_t trailer_ = bytes_.size() - std::min<std::size_t>(bytes_.size(), 32);
  std::uint64_t offsetSize_ = number(trailer_ + 6, 1);
  std::uint64_t referenceSize_ = number(trailer_ + 7, 1);
  std::uint64_t table_ = number(trailer_ + 24, 8);
};

}  // namespace

bool isNestedTooDeep(std::string_view list) {
  return list.starts_with("bplist") ? BinaryList(list).isTooDeep() : isXmlTooDeep(list);
}

}  // namespace quorvel
