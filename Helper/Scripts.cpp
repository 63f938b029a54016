#include "Helper/Scripts.hpp"

#include "Helper/ShellText.hpp"

namespace quorvel {
namespace {

/// A line that runs as the superuser; sudo reads the password from its standard input.
std::string privileged(const std::string& command, std::string_view password) {
  return "echo " + quotedForEcho(password) + " | sudo -S " + command;
}

}  // namespace

std::string infoScript(std::string_view ID) { return "diskutil info " + bareOrQuotedForShell(ID); }

std::string umountScript(std::string_view ID) {
  return "diskutil umount " + bareOrQuotedForShell(ID);
}

std::string takeOverScript(std::string_view ID, std::string_view directory,
                           std::string_view password) {
  const std::string folder = quotedForShell(directory);
  return umountScript(ID) + "\n" +                         //
         privileged("mkdir " + folder, password) + "\n" +  //
         privileged("mount_ntfs -o rw,nobrowse /dev/" + bareOrQuotedForShell(ID) + " " + folder,
                    password);
}

std::string removalScript(std::string_view directory, std::string_view password) {
  return privileged("rm -rf " + quotedForShell(directory), password);
}

std::string giveBackScript(std::string_view ID, std::string_view directory,
                           std::string_view password) {
  return removalScript(directory, password) + "\n" + "diskutil mount " + bareOrQuotedForShell(ID);
}

std::string openScript(std::string_view name) {
  return "open /Volumes/" + bareOrQuotedForShell(name);
}

std::optional<std::string> noticeScript(std::string_view object) {
  const std::size_t comma = object.find(',');
  if (comma == std::string_view::npos || comma != object.rfind(',')) {
    return std::nullopt;
  }
  const std::string_view verb = object.substr(0, comma);
  const std::string volume = bareOrQuotedForShell(object.substr(comma + 1), " ");
  if (verb == "add") {
    return "diskutil umount " + volume + "\ndiskutil mount " + volume + "\nopen /Volumes/" + volume;
  }
  return verb == "remove" ? "diskutil umount " + volume : "";
}

}  // namespace quorvel
