#include "Helper/NoticeScript.hpp"

#include "Helper/ShellText.hpp"

namespace quorvel {

std::optional<std::string> scriptForNotice(std::string_view object) {
  const std::size_t comma = object.find(',');
  if (comma == std::string_view::npos || comma != object.rfind(',')) {
    return std::nullopt;
  }
  const std::string_view verb = object.substr(0, comma);
  const std::string volume = bareOrQuotedForShell(object.substr(comma + 1));
  if (verb == "add") {
    return "diskutil umount " + volume + "\ndiskutil mount " + volume + "\nopen /Volumes/" + volume;
  }
  return verb == "remove" ? "diskutil umount " + volume : "";
}

}  // namespace quorvel
