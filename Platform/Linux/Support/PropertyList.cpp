#include "Platform/Linux/Support/PropertyList.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "Platform/Linux/Support/PropertyListNesting.hpp"
#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

/// Without O_NONBLOCK a FIFO in the file's place would hold us up for ever.
std::optional<std::string> readFile(const std::string& path) {
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) {
    return std::nullopt;
  }
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return std::nullopt;
  }
  return readAll(file.get(), kLargestPropertyList);
}

PropertyList parse(std::string_view content) {
  // plist_from_memory takes other arguments, and reads other formats, from libplist 2.3 on.
  const auto size = static_cast<uint32_t>(content.size());
  if (isNestedTooDeep(content)) {
    return nullptr;
  }
  const bool isBinary = ::plist_is_binary(content.data(), size) != 0;
  plist_t root = nullptr;
  (isBinary ? ::plist_from_bin : ::plist_from_xml)(content.data(), size, &root);
  PropertyList list(root);
  return ::plist_get_node_type(root) == PLIST_DICT ? std::move(list) : nullptr;
}

}  // namespace

PropertyList readPropertyList(const std::string& path) {
  const auto content = readFile(path);
  PropertyList list = content ? parse(*content) : nullptr;
  if (content && !list) {
    errno = EINVAL;
  }
  return list;
}

plist_t propertyListItem(plist_t dictionary, std::string_view key) {
  return ::plist_dict_get_item(dictionary, std::string(key).c_str());
}

std::optional<std::string> propertyListText(plist_t node) {
  if (::plist_get_node_type(node) != PLIST_STRING) {
    return std::nullopt;
  }
  // Not plist_get_string_val: that ends the process where the text holds a NUL.
  uint64_t length = 0;
  const char* const text = ::plist_get_string_ptr(node, &length);
  return std::string(text, text == nullptr ? 0 : length);
}

}  // namespace quorvel
