#include "Platform/Linux/Support/PropertyList.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

/// Without O_NONBLOCK a FIFO in the file's place would hold us up for ever.
UniqueFd openRegularFile(const std::string& path, off_t& size) {
  UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (file && (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
    file.reset();
  }
  size = status.st_size;
  return file;
}

std::string readFile(const std::string& path) {
  off_t size = 0;
  const UniqueFd file = openRegularFile(path, size);
  if (!file || static_cast<std::size_t>(size) > kLargestPropertyList) {
    return {};
  }
  std::string content(static_cast<std::size_t>(size), '\0');
  const ssize_t count = ::read(file.get(), content.data(), content.size());
  content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return content;
}

}  // namespace

PropertyList readPropertyList(const std::string& path) {
  const std::string content = readFile(path);
  plist_t root = nullptr;
  if (!content.empty()) {
    ::plist_from_memory(content.data(), static_cast<uint32_t>(content.size()), &root);
  }
  PropertyList list(root);
  if (list && ::plist_get_node_type(list.get()) != PLIST_DICT) {
    list.reset();
  }
  return list;
}

plist_t propertyListItem(plist_t dictionary, std::string_view key) {
  return ::plist_dict_get_item(dictionary, std::string(key).c_str());
}

std::optional<std::string> propertyListText(plist_t node) {
  if (node == nullptr || ::plist_get_node_type(node) != PLIST_STRING) {
    return std::nullopt;
  }
  // Not plist_get_string_val: that ends the process where the text holds a NUL.
  uint64_t length = 0;
  const char* const text = ::plist_get_string_ptr(node, &length);
  return std::string(text, text == nullptr ? 0 : length);
}

}  // namespace quorvel
