#include "Helper/Scripts.hpp"
#include "Helper/ShellText.hpp"
#include "Platform/Text/UTF8.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"

namespace quorvel::test {

namespace {

constexpr std::string_view kWithoutMeaning =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/_-.+,:@%";

bool hasNoMeaning(char character) {
  return static_cast<unsigned char>(character) >= 0x80 ||
         kWithoutMeaning.find(character) != std::string_view::npos;
}

/// A script as the shell reads it: the quotes are gone, and what ends a word is \1, a line \2.
std::string readByShell(std::string_view script) {
  std::string words;
  bool isQuoted = false;
  for (std::size_t i = 0; i < script.size(); ++i) {
    if (script[i] == '\'') {
      isQuoted = !isQuoted;
    } else if (isQuoted || hasNoMeaning(script[i])) {
      words += script[i];
    } else if (script[i] == ' ' || script[i] == '\n') {
      words += script[i] == ' ' ? '\1' : '\2';
    } else {
      require(script[i] == '\\' && ++i < script.size(), "nothing outside quotes has a meaning");
      words += script[i];
    }
  }
  require(!isQuoted, "every quote is closed");
  return words;
}

/// Nothing but blanks has a meaning in it.
bool isWords(std::string_view text) {
  return isUTF8(text) && std::all_of(text.begin(), text.end(), [](char character) {
           return character == ' ' || hasNoMeaning(character);
         });
}

std::string wordsFor(std::string_view verb, std::string volume) {
  if (isWords(volume)) {
    std::replace(volume.begin(), volume.end(), ' ', '\1');
  }
  const std::string umount = "diskutil\1umount\1" + volume;
  if (verb == "add") {
    return umount + "\2diskutil\1mount\1" + volume + "\2open\1/Volumes/" + volume;
  }
  return verb == "remove" ? umount : "";
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string object(bytes, bytes + size);
  require(readByShell(quotedForShell(object)) == object, "a quoted text is read as it was");
  const auto script = noticeScript(object);
  const bool isNotice = std::count(object.begin(), object.end(), ',') == 1;
  require(script.has_value() == isNotice, "a notice has two fields");
  const std::size_t comma = object.find(',');
  require(!script ||
              readByShell(*script) == wordsFor(object.substr(0, comma), object.substr(comma + 1)),
          "the lines are those of the notice and nothing else");
  return 0;
}

}  // namespace quorvel::test
