#include "Platform/Foundation/NSUserDefaults.hpp"

#include <plist/plist.h>
#include <sys/stat.h>

#include <algorithm>

#include "Platform/Linux/Support/PropertyList.hpp"
#include "Platform/Linux/Support/UserFolders.hpp"

namespace quorvel {
namespace {

bool truthOfText(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
    text.remove_prefix(1);
  }
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  return !text.empty() &&
         std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
}

template <typename Value>
bool isNotZero(plist_t node, void (*read)(plist_t, Value*)) {
  Value value{};
  read(node, &value);
  return value != Value{};
}

bool truthOf(plist_t node) {
  switch (::plist_get_node_type(node)) {
    case PLIST_BOOLEAN:
      return isNotZero(node, ::plist_get_bool_val);
    case PLIST_UINT:
      return isNotZero(node, ::plist_get_uint_val);
    case PLIST_REAL:
      return isNotZero(node, ::plist_get_real_val);
    case PLIST_STRING:
      return truthOfText(propertyListText(node).value_or(""));
    default:
      return false;
  }
}

}  // namespace

NSUserDefaults::NSUserDefaults(std::string_view suiteName) : path_(settingsPath(suiteName)) {}

std::optional<std::string> NSUserDefaults::dataForKey(std::string_view key) const {
  const PropertyList settings = readPropertyList(path_);
  plist_t node = propertyListItem(settings.get(), key);
  if (::plist_get_node_type(node) != PLIST_DATA) {
    return std::nullopt;
  }
  uint64_t length = 0;
  const char* const bytes = ::plist_get_data_ptr(node, &length);
  return std::string(bytes, length);
}

bool NSUserDefaults::boolForKey(std::string_view key) const {
  const PropertyList settings = readPropertyList(path_);
  return truthOf(propertyListItem(settings.get(), key));
}

bool NSUserDefaults::isReadableByOthers() const {
  struct stat status {};
  return ::stat(path_.c_str(), &status) == 0 && (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

}  // namespace quorvel
