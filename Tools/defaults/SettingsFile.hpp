// The file that holds the settings of one domain.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Linux/Support/PropertyList.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

/// The property list DOMAIN.plist in $XDG_CONFIG_HOME (~/.config). Writers replace it as a whole,
/// so a reader sees the old settings or the new ones.
class SettingsFile {
 public:
  /// Throws ToolError when the domain cannot be a file name or there is no home folder.
  explicit SettingsFile(std::string_view domain);

  /// The settings, an XML or a binary property list; null when there is no file. Throws ToolError
  /// when the file cannot be read or is something else, so that nothing is lost by writing it anew.
  [[nodiscard]] PropertyList read() const;

  /// Takes the settings' place on disk, synchronized, readable by the user alone. Makes the folder
  /// if it is missing. Throws ToolError.
  void write(plist_t settings) const;

  /// Removes the file.
  void remove() const;

  /// Waits until no other `defaults` changes this domain, until the result is closed.
  [[nodiscard]] UniqueFd lock() const;

 private:
  std::string folder_;
  std::string path_;
};

}  // namespace quorvel
