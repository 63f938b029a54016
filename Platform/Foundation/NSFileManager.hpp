// Files and folders by path.
#pragma once

#include <optional>
#include <string>

namespace quorvel {

/// May be used from any thread. Paths are absolute and in the file system's own bytes.
class NSFileManager {
 public:
  static NSFileManager& defaultManager();

  /// Removes a file or a symbolic link, never what a link points to and never a folder. False when
  /// there was nothing to remove or it could not be removed.
  bool removeItemAtPath(const std::string& path);
  /// Creates an empty file with default permissions, or empties the one that is there. A symbolic
  /// link is not followed. False when that failed.
  bool createFileAtPath(const std::string& path);
  /// Whether there is anything below the folder. Looks at one entry at most, so it is as quick on
  /// a volume of a million files. Yes also for
  /// - a folder on which a file system is mounted, whatever can be read of it;
  /// - a path that holds no folder but a file or a link, or whose state cannot be found out;
  /// - a folder of the user's own that the user has made unreadable.
  /// No for a path that holds nothing. None for somebody else's folder that cannot be read.
  [[nodiscard]] std::optional<bool> hasSubpathsAtPath(const std::string& path) const;
  /// Whether there is a file, a folder or a link, also one that leads nowhere. Yes also where that
  /// cannot be found out.
  [[nodiscard]] bool isAnythingAtPath(const std::string& path) const;
};

}  // namespace quorvel
