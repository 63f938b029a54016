#include "Helper/ShellText.hpp"

#include <algorithm>

#include "Platform/Text/UTF8.hpp"

namespace quorvel {
namespace {

std::string replaced(std::string_view text, char character, std::string_view replacement) {
  std::string result;
  for (const char& each : text) {
    result += each == character ? replacement : std::string_view(&each, 1);
  }
  return result;
}

bool isPlain(char character) {
  constexpr char kLastOfASCII = 0x7F;
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') ||
         static_cast<unsigned char>(character) > kLastOfASCII ||
         std::string_view("_-.+/,:@%").find(character) != std::string_view::npos;
}

}  // namespace

std::string quotedForShell(std::string_view text) {
  return std::string("'").append(replaced(text, '\'', R"('\'')")).append("'");
}

std::string bareOrQuotedForShell(std::string_view text, std::string_view alsoBare) {
  const auto isBare = [&](char each) {
    return isPlain(each) || alsoBare.find(each) != std::string_view::npos;
  };
  return isUTF8(text) && std::all_of(text.begin(), text.end(), isBare) ? std::string(text)
                                                                       : quotedForShell(text);
}

std::string quotedForEcho(std::string_view text) {
  std::string escaped = replaced(text, '\\', R"(\\)");
  if (escaped.starts_with('-')) {
    escaped.replace(0, 1, R"(\0055)");  // Octal with all its digits: more may follow.
  }
  return quotedForShell(escaped);
}

}  // namespace quorvel
