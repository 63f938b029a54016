#include "Tools/defaults/Values.hpp"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Platform/Text/UTF8.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr int kHexadecimal = 16;

PropertyList booleanFrom(std::string_view text) {
  if (text != "true" && text != "false") {
    throw UsageError("defaults: \"" + printable(text) + "\" is neither true nor false.");
  }
  return PropertyList(::plist_new_bool(text == "true" ? 1 : 0));
}

PropertyList textFrom(std::string_view text) {
  // A byte that is no UTF-8 would make the whole file unreadable.
  if (!isUTF8(text)) {
    throw UsageError("defaults: the text is not valid UTF-8; use -data for other bytes.");
  }
  return PropertyList(::plist_new_string(std::string(text).c_str()));
}

std::string bytesFrom(std::string_view digits) {
  std::string bytes = decodeEscapes(digits, "", 2, kHexadecimal);
  if (bytes.size() * 2 != digits.size()) {  // What is none stays as it is.
    throw UsageError("defaults: the data is not hexadecimal, two digits a byte.");
  }
  return bytes;
}

// So that a password stands in no one's shell history.
std::string bytesFromInput() {
  if (::isatty(STDIN_FILENO) == 1) {
    throw ToolError(
        "defaults: what is typed here would be seen. Pipe the bytes into the command; "
        "\"quorvel-helper password\" asks for the password without showing it.");
  }
  auto bytes = readAll(STDIN_FILENO, kLargestPropertyList);
  if (!bytes) {
    throw ToolError(errorText("defaults: standard input cannot be read") +
                    ". Pipe the bytes into the command.");
  }
  if (bytes->ends_with('\n')) {
    bytes->pop_back();
  }
  return *std::move(bytes);
}

PropertyList dataFrom(std::string_view text) {
  const std::string bytes = text == "-" ? bytesFromInput() : bytesFrom(text);
  return PropertyList(::plist_new_data(bytes.data(), bytes.size()));
}

std::string dataText(plist_t value) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::uint64_t length = 0;
  const char* const data = ::plist_get_data_ptr(value, &length);
  std::string text = "{length = " + std::to_string(length) + ", bytes = 0x";
  for (const char byte : std::string_view(data, data == nullptr ? 0 : length)) {
    text += kDigits[static_cast<unsigned char>(byte) / kHexadecimal];
    text += kDigits[static_cast<unsigned char>(byte) % kHexadecimal];
  }
  return text + "}";
}

std::string numberText(plist_t value) {
  std::uint64_t number = 0;
  ::plist_get_uint_val(value, &number);
  return std::to_string(static_cast<std::int64_t>(number));
}

}  // namespace

PropertyList valueFrom(std::string_view type, std::string_view text) {
  if (type == "-bool") {
    return booleanFrom(text);
  }
  if (type == "-data") {
    return dataFrom(text);
  }
  if (type == "-string") {
    return textFrom(text);
  }
  throw UsageError("defaults: a value needs its type before it: -bool, -string or -data.");
}

std::string valueText(plist_t value) {
  switch (::plist_get_node_type(value)) {
    case PLIST_BOOLEAN:
      return ::plist_bool_val_is_true(value) == 0 ? "0\n" : "1\n";
    case PLIST_UINT:
      return numberText(value) + "\n";
    case PLIST_STRING:
      return propertyListText(value).value_or("") + "\n";
    case PLIST_DATA:
      return dataText(value) + "\n";
    default:
      return xmlOf(value);
  }
}

std::string xmlOf(plist_t root) {
  char* text = nullptr;
  std::uint32_t length = 0;
  ::plist_to_xml(root, &text, &length);
  // libplist's own function for this has another name from version 2.3 on.
  const std::unique_ptr<char, void (*)(void*)> owner(text, std::free);
  if (text == nullptr) {
    throw ToolError("defaults: the settings cannot be put in writing; is memory short?");
  }
  return {text, length};
}

}  // namespace quorvel
