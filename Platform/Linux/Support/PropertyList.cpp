#include "Platform/Linux/Support/PropertyList.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

constexpr off_t kLargestFile = off_t{16} * 1024 * 1024;

struct MallocDeleter {
  void operator()(char* text) const { ::free(text); }  // NOLINT: libplist allocates with malloc.
};

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
  if (!file || size > kLargestFile) {
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
  char* text = nullptr;
  ::plist_get_string_val(node, &text);
  const std::unique_ptr<char, MallocDeleter> owner(text);
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

}  // namespace quorvel
