#include "Helper/DiskInfo.hpp"

#include <algorithm>
#include <array>

#include "Platform/Text/TakeUntil.hpp"

namespace quorvel {
namespace {

constexpr std::array<std::string_view, 3> kWantedFields{
    "Volume Name:", "Mounted:", "File System Personality:"};

/// The pieces between separators, without the empty ones.
std::vector<std::string_view> pieces(std::string_view text, char separator) {
  std::vector<std::string_view> found;
  while (!text.empty()) {
    if (const auto piece = takeUntil(text, separator); !piece.empty()) {
      found.push_back(piece);
    }
  }
  return found;
}

std::string withoutIndents(std::string_view value) {
  std::string bare;
  for (std::size_t indent = 0; (indent = value.find(valueIndent)) != std::string_view::npos;) {
    bare.append(value.substr(0, indent));
    value.remove_prefix(indent + valueIndent.size());
  }
  return bare.append(value);
}

}  // namespace

std::vector<std::string> parseDiskList(std::string_view output) {
  std::vector<std::string> identifiers;
  for (const std::string_view row : pieces(output, '\n')) {
    if (const auto found = pieces(row, ' '); !found.empty() && found.back().starts_with("disk")) {
      identifiers.emplace_back(found.back());
    }
  }
  return identifiers;
}

std::vector<std::string> parseMountList(std::string_view output) {
  std::vector<std::string> devices;
  for (const std::string_view row : pieces(output, '\n')) {
    if (const auto found = pieces(row, ' '); !found.empty()) {
      devices.emplace_back(found.front());
    }
  }
  return devices;
}

bool isDiskInfoField(std::string_view row) {
  return std::ranges::any_of(kWantedFields, [row](std::string_view field) {
    return row.find(field) != std::string_view::npos;
  });
}

std::vector<std::string> parseDiskInfo(std::string_view output) {
  std::vector<std::string> values;
  for (const std::string_view row : pieces(output, '\n')) {
    if (isDiskInfoField(row)) {
      values.push_back(withoutIndents(pieces(row, ':').back()));
    }
  }
  return values;
}

}  // namespace quorvel
