#include "Tools/defaults/PropertyText.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace quorvel {
namespace {

constexpr std::size_t kIndent = 4;
constexpr std::size_t kLongestDump = 24;  // Longer data is shown by its beginning and its end.

// libplist hands out what malloc gave it.
struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }  // NOLINT(*-no-malloc,*-owning-memory)
};

std::string indent(std::size_t depth) {
  std::string blanks;
  blanks.resize(depth * kIndent, ' ');
  return blanks;
}

bool isPlainWord(std::string_view text) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
  return !text.empty() && text.find_first_not_of(kPlain) == std::string_view::npos;
}

// Inside brackets a text that is more than one plain word stands in quotation marks.
std::string quoted(std::string_view text) {
  if (isPlainWord(text)) {
    return std::string(text);
  }
  std::string result = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') {
      result += '\\';
    }
    if (letter == '\n') {
      result += "\\n";
    } else {
      result += letter;
    }
  }
  return result + '"';
}

std::string stringOf(plist_t node) {
  std::uint64_t length = 0;
  const char* const text = ::plist_get_string_ptr(node, &length);
  return text == nullptr ? std::string() : std::string(text, length);
}

std::string hexadecimal(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += kDigits[value / 16];
    text += kDigits[value % 16];
  }
  return text;
}

// Groups of four bytes, as the platform shows the two ends of long data.
std::string grouped(std::string_view bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 4) {
    text += at == 0 ? "" : " ";
    text += hexadecimal(bytes.substr(at, 4));
  }
  return text;
}

std::string dataText(plist_t node) {
  std::uint64_t length = 0;
  const char* const data = ::plist_get_data_ptr(node, &length);
  const std::string_view bytes(data, data == nullptr ? 0 : length);
  const std::string dump =
      bytes.size() <= kLongestDump
          ? hexadecimal(bytes)
          : grouped(bytes.substr(0, 16)) + " ... " + grouped(bytes.substr(bytes.size() - 8));
  return "{length = " + std::to_string(bytes.size()) + ", bytes = 0x" + dump + "}";
}

std::string realText(plist_t node) {
  double value = 0;
  ::plist_get_real_val(node, &value);
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%.15g", value));
  return text.data();
}

std::string booleanText(plist_t node) {
  std::uint8_t value = 0;
  ::plist_get_bool_val(node, &value);
  return value == 0 ? "0" : "1";
}

std::string integerText(plist_t node) {
  std::uint64_t value = 0;
  ::plist_get_uint_val(node, &value);
  return std::to_string(static_cast<std::int64_t>(value));
}

std::string textOf(plist_t node, std::size_t depth);

// A value between brackets.
std::string element(plist_t node, std::size_t depth) {
  const plist_type type = ::plist_get_node_type(node);
  if (type == PLIST_STRING) {
    return quoted(stringOf(node));
  }
  return type == PLIST_REAL ? quoted(realText(node)) : textOf(node, depth);
}

std::string arrayText(plist_t node, std::size_t depth) {
  std::string text = "(\n";
  const std::uint32_t count = ::plist_array_get_size(node);
  for (std::uint32_t i = 0; i < count; ++i) {
    text += indent(depth + 1) + element(::plist_array_get_item(node, i), depth + 1) +
            (i + 1 < count ? ",\n" : "\n");
  }
  return text + indent(depth) + ")";
}

std::string dictionaryText(plist_t node, std::size_t depth) {
  void* iterator = nullptr;
  ::plist_dict_new_iter(node, &iterator);
  const std::unique_ptr<void, FreeMemory> iteratorOwner(iterator);
  std::string text = "{\n";
  while (true) {
    char* key = nullptr;
    plist_t item = nullptr;
    ::plist_dict_next_item(node, iterator, &key, &item);
    const std::unique_ptr<char, FreeMemory> keyOwner(key);
    if (item == nullptr) {
      return text + indent(depth) + "}";
    }
    text += indent(depth + 1) + quoted(key) + " = " + element(item, depth + 1) + ";\n";
  }
}

std::string textOf(plist_t node, std::size_t depth) {
  switch (::plist_get_node_type(node)) {
    case PLIST_BOOLEAN:
      return booleanText(node);
    case PLIST_UINT:
      return integerText(node);
    case PLIST_REAL:
      return realText(node);
    case PLIST_STRING:
      return stringOf(node);
    case PLIST_DATA:
      return dataText(node);
    case PLIST_ARRAY:
      return arrayText(node, depth);
    case PLIST_DICT:
      return dictionaryText(node, depth);
    default:
      return "(not shown)";
  }
}

}  // namespace

std::string propertyText(plist_t node) { return textOf(node, 0); }

}  // namespace quorvel
