// defaults: reads and changes settings from a prompt.

#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/defaults/SettingsFile.hpp"
#include "Tools/defaults/Values.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: defaults read DOMAIN [KEY]\n"
    "       defaults write DOMAIN KEY -string TEXT\n"
    "       defaults write DOMAIN KEY -bool true|false\n"
    "       defaults write DOMAIN KEY -data HEXADECIMAL\n"
    "       defaults write DOMAIN KEY -data -      the bytes come from standard input\n"
    "       defaults delete DOMAIN KEY\n"
    "       defaults --help\n"
    "The settings of DOMAIN are the file DOMAIN.plist in $XDG_CONFIG_HOME (~/.config).\n";

std::string checkedKey(std::string_view key) {
  if (key.empty() || printable(key) != key) {
    throw UsageError("defaults: \"" + printable(key) + "\" cannot be a key.");
  }
  return std::string(key);
}

plist_t itemOf(plist_t settings, std::string_view domain, std::string_view key) {
  plist_t item = settings == nullptr ? nullptr : propertyListItem(settings, checkedKey(key));
  if (item == nullptr) {
    throw ToolError("The domain/default pair of (" + printable(domain) + ", " + printable(key) +
                    ") does not exist");
  }
  return item;
}

void printSettings(std::string_view domain, Arguments words) {
  const PropertyList settings = readSettings(domain);
  if (words.empty() && !settings) {
    throw ToolError("Domain " + printable(domain) + " does not exist");
  }
  print(valueText(words.empty() ? settings.get() : itemOf(settings.get(), domain, words.front())));
}

void writeSetting(std::string_view domain, Arguments words) {
  const std::string key = checkedKey(words[0]);
  // Before the lock: it may have to be waited for.
  PropertyList value = valueFrom(words[1], words[2]);
  changeSettings(domain, [&](plist_t settings) {
    ::plist_dict_set_item(settings, key.c_str(), value.release());
  });
}

void deleteSetting(std::string_view domain, const std::string& key) {
  changeSettings(domain, [&](plist_t settings) {
    itemOf(settings, domain, key);
    ::plist_dict_remove_item(settings, key.c_str());
  });
}

int runDefaults(Arguments arguments) {
  const std::string_view verb = arguments.empty() ? "" : arguments.front();
  const std::size_t count = arguments.size();
  if (verb == "read" && (count == 2 || count == 3)) {
    printSettings(arguments[1], arguments.subspan(2));
  } else if (verb == "write" && count == 5) {
    writeSetting(arguments[1], arguments.subspan(2));
  } else if (verb == "delete" && count == 3) {
    deleteSetting(arguments[1], arguments[2]);
  } else {
    throw UsageError(
        "defaults: read, write or delete is needed, with a domain and a key, and for write a type "
        "and a value.");
  }
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  ::umask(S_IRWXG | S_IRWXO);  // Nobody else may have a hand in folders that lead to a password.
  return quorvel::runTool(quorvel::kUsage, argc, argv, quorvel::runDefaults);
}
