#include "Platform/Linux/Support/PropertyListNesting.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "Platform/Linux/Support/PropertyList.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kDeepest = 256;

/// Takes what stands before `end`, and `end`, away; everything when it is not there.
std::string_view takeThrough(std::string_view& text, std::string_view end) {
  const std::size_t at = std::min(text.find(end), text.size());
  const std::string_view taken = text.substr(0, at);
  text.remove_prefix(std::min(at + end.size(), text.size()));
  return taken;
}

/// What holds no elements: how it begins behind its "<", and how it ends.
constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kPassedOver{
    {{"!--", "-->"}, {"![CDATA[", "]]>"}, {"?", "?>"}}};

/// Takes one of those away; false where the text begins with none.
bool takePassedOver(std::string_view& rest) {
  const auto* const found = std::ranges::find_if(
      kPassedOver, [&](const auto& each) { return rest.starts_with(each.first); });
  if (found != kPassedOver.end()) {
    takeThrough(rest, found->second);
  }
  return found != kPassedOver.end();
}

/// Takes the tag that the rest begins with. A document type stands before the first element: what
/// is in it closes none.
std::size_t depthBehindTag(std::string_view& rest, std::size_t depth) {
  switch (rest.front()) {
    case '!':
      return depth > 0 ? kDeepest + 1 : 0;
    case '/':
      return depth > 0 ? depth - 1 : 0;
    default:
      return depth + (takeThrough(rest, ">").ends_with('/') ? 0 : 1);
  }
}

bool isXmlTooDeep(std::string_view rest) {
  std::size_t depth = 0;
  for (takeThrough(rest, "<"); !rest.empty() && depth <= kDeepest; takeThrough(rest, "<")) {
    if (!takePassedOver(rest)) {
      depth = depthBehindTag(rest, depth);
    }
  }
  return depth > kDeepest;
}

/// A binary list: objects, a table of where each begins, and a trailer of 32 bytes that describes
/// the table. An array or dictionary begins with how many numbers of other objects follow.
class BinaryList {
 public:
  explicit BinaryList(std::string_view bytes) : bytes_(bytes) {}

  /// Whoever reads a list copies what several containers share for each of them, so that a short
  /// one may come to take all memory there is.
  [[nodiscard]] bool isTooDeep() const {
    constexpr std::size_t kMostObjects = kLargestPropertyList / 4;
    std::size_t left = kMostObjects;
    return isTooDeep(number(trailer_ + 16, 8), 0, left);
  }

 private:
  [[nodiscard]] bool isTooDeep(std::uint64_t object, std::size_t depth, std::size_t& left) const {
    const auto [first, count] = contents(object);
    if (depth > kDeepest || count > left) {
      return true;
    }
    left -= count;
    for (std::size_t i = 0; i < count; ++i) {
      if (isTooDeep(number(first + i * referenceSize_, referenceSize_), depth + 1, left)) {
        return true;
      }
    }
    return false;
  }

  [[nodiscard]] std::uint64_t number(std::uint64_t at, std::uint64_t size) const {
    std::uint64_t value = 0;
    for (const char byte : bytes_.substr(std::min<std::uint64_t>(at, bytes_.size()), size)) {
      value = value << 8U | static_cast<std::uint8_t>(byte);
    }
    return value;
  }

  /// Where the numbers of what is in an object begin, and how many they are; none in what is no
  /// container.
  [[nodiscard]] std::pair<std::uint64_t, std::uint64_t> contents(std::uint64_t object) const {
    constexpr std::uint64_t kArray = 0xA;
    constexpr std::uint64_t kSet = 0xC;
    constexpr std::uint64_t kDictionary = 0xD;
    constexpr std::uint64_t kMore = 0xF;
    const std::uint64_t at = number(table_ + object * offsetSize_, offsetSize_);
    const std::uint64_t marker = number(at, 1);
    const std::uint64_t kind = marker >> 4U;
    if (kind != kArray && kind != kSet && kind != kDictionary) {
      return {};
    }
    std::uint64_t first = at + 1;
    std::uint64_t count = marker & kMore;
    if (count == kMore) {  // An integer follows, its marker first.
      const std::uint64_t size = std::uint64_t{1} << (number(first, 1) & 3U);
      count = number(first + 1, size);
      first += 1 + size;
    }
    return {first, kind == kDictionary ? 2 * count : count};
  }

  std::string_view bytes_;
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
