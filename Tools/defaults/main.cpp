// defaults: reads and changes settings from a prompt.

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/Linux/Support/PropertyList.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Platform/Text/UTF8.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"
#include "Tools/defaults/PasswordInput.hpp"
#include "Tools/defaults/PropertyText.hpp"
#include "Tools/defaults/SettingsFile.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: defaults read DOMAIN [KEY]\n"
    "       defaults write DOMAIN KEY [-string] TEXT\n"
    "       defaults write DOMAIN KEY -bool (true | false | yes | no | 1 | 0)\n"
    "       defaults write DOMAIN KEY -data HEXADECIMAL\n"
    "       defaults write DOMAIN KEY -data -      the bytes come from standard input\n"
    "       defaults delete DOMAIN [KEY]\n"
    "       defaults --help\n"
    "The settings of DOMAIN are the file DOMAIN.plist in $XDG_CONFIG_HOME (~/.config).\n";

[[noreturn]] void failMissing(std::string_view domain, std::string_view key) {
  throw ToolError("The domain/default pair of (" + printable(domain) + ", " + printable(key) +
                  ") does not exist");
}

[[noreturn]] void failMissingDomain(std::string_view domain) {
  throw ToolError("Domain " + printable(domain) + " does not exist");
}

std::string checkedKey(std::string_view key) {
  if (key.empty() || printable(key) != key) {
    throw UsageError("defaults: \"" + printable(key) + "\" cannot be a key.");
  }
  return std::string(key);
}

PropertyList booleanFrom(std::string_view text) {
  constexpr std::array<std::string_view, 6> kTrue{"true", "yes", "1", "TRUE", "YES", "True"};
  constexpr std::array<std::string_view, 6> kFalse{"false", "no", "0", "FALSE", "NO", "False"};
  const bool isTrue = std::find(kTrue.begin(), kTrue.end(), text) != kTrue.end();
  if (!isTrue && std::find(kFalse.begin(), kFalse.end(), text) == kFalse.end()) {
    throw UsageError("defaults: \"" + printable(text) + "\" is neither true nor false.");
  }
  return PropertyList(::plist_new_bool(isTrue ? 1 : 0));
}

PropertyList textFrom(std::string_view text) {
  // A byte that is no UTF-8 would make the whole file unreadable.
  if (!isUTF8(text)) {
    throw UsageError("defaults: the text is not valid UTF-8; use -data for other bytes.");
  }
  return PropertyList(::plist_new_string(std::string(text).c_str()));
}

int digitValue(char digit) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const char lower = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
  const std::size_t at = kDigits.find(lower);
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

std::string bytesFrom(std::string_view digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    const int high = digitValue(digits[i]);
    const int low = digitValue(digits[i + 1]);
    if (high < 0 || low < 0) {
      break;
    }
    bytes += static_cast<char>(high * 16 + low);
  }
  if (bytes.size() * 2 != digits.size()) {
    throw UsageError("defaults: the data is not hexadecimal, two digits a byte.");
  }
  return bytes;
}

PropertyList dataFrom(std::string_view text) {
  const std::string bytes = text == "-" ? readSecret() : bytesFrom(text);
  return PropertyList(::plist_new_data(bytes.data(), bytes.size()));
}

struct ValueType {
  std::string_view word;
  PropertyList (*make)(std::string_view text);
};

constexpr std::array kValueTypes{
    ValueType{"-bool", booleanFrom},
    ValueType{"-boolean", booleanFrom},
    ValueType{"-string", textFrom},
    ValueType{"-data", dataFrom},
};

PropertyList makeValue(Arguments words) {
  if (words.size() == 1 && !std::string_view(words.front()).starts_with('-')) {
    return textFrom(words.front());
  }
  for (const ValueType& type : kValueTypes) {
    if (words.size() == 2 && type.word == words.front()) {
      return type.make(words.back());
    }
  }
  throw UsageError("defaults: one value is needed, after its type (-bool, -string or -data).");
}

int readSettings(Arguments words) {
  if (words.empty() || words.size() > 2) {
    throw UsageError("defaults: read needs a domain and at most one key.");
  }
  const std::string_view domain = words.front();
  const PropertyList settings = SettingsFile(domain).read();
  if (words.size() == 1) {
    if (!settings) {
      failMissingDomain(domain);
    }
    print(propertyText(settings.get()) + "\n");
    return EXIT_SUCCESS;
  }
  const std::string key = checkedKey(words.back());
  plist_t value = settings ? ::plist_dict_get_item(settings.get(), key.c_str()) : nullptr;
  if (value == nullptr) {
    failMissing(domain, key);
  }
  print(propertyText(value) + "\n");
  return EXIT_SUCCESS;
}

int writeSetting(Arguments words) {
  if (words.size() < 3) {
    throw UsageError("defaults: write needs a domain, a key and a value.");
  }
  const std::string key = checkedKey(words[1]);
  const SettingsFile file(words.front());
  PropertyList value = makeValue(words.subspan(2));  // Before the lock: a person may be typing.
  const UniqueFd lock = file.lock();
  PropertyList settings = file.read();
  if (!settings) {
    settings.reset(::plist_new_dict());
  }
  ::plist_dict_set_item(settings.get(), key.c_str(), value.release());
  file.write(settings.get());
  return EXIT_SUCCESS;
}

int deleteSetting(Arguments words) {
  if (words.empty() || words.size() > 2) {
    throw UsageError("defaults: delete needs a domain and at most one key.");
  }
  const std::string_view domain = words.front();
  const SettingsFile file(domain);
  const UniqueFd lock = file.lock();
  const PropertyList settings = file.read();
  if (words.size() == 1) {
    if (!settings) {
      failMissingDomain(domain);
    }
    file.remove();
    return EXIT_SUCCESS;
  }
  const std::string key = checkedKey(words.back());
  if (!settings || ::plist_dict_get_item(settings.get(), key.c_str()) == nullptr) {
    failMissing(domain, key);
  }
  ::plist_dict_remove_item(settings.get(), key.c_str());
  file.write(settings.get());
  return EXIT_SUCCESS;
}

int runDefaults(Arguments arguments) {
  const std::string_view verb = arguments.empty() ? "" : arguments.front();
  if (verb == "read") {
    return readSettings(arguments.subspan(1));
  }
  if (verb == "write") {
    return writeSetting(arguments.subspan(1));
  }
  if (verb == "delete") {
    return deleteSetting(arguments.subspan(1));
  }
  throw UsageError(verb.empty() ? "defaults: what is to be done is missing."
                                : "defaults: \"" + printable(verb) + "\" is not known.");
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  ::umask(S_IRWXG | S_IRWXO);  // Nobody else may have a hand in folders that lead to a password.
  const quorvel::Arguments arguments(argv, static_cast<std::size_t>(argc));
  return quorvel::runTool(quorvel::kUsage, arguments.subspan(1), quorvel::runDefaults);
}
