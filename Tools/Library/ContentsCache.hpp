// What was found on the disks, kept from one listing to the next.
#pragma once

#include <map>
#include <string>

#include "Tools/Library/Contents.hpp"

namespace quorvel {

/// Where no udev notes what is on a disk, a listing has to read every disk, which costs more than
/// all of its other work and would wake a sleeping disk every few seconds. So root's listings keep
/// what they found in /run, and read a disk again only after something was written to it (the
/// kernel counts that) or its partitions changed.
///
/// A look at the cache may be late by the time that written data waits in memory. Whoever mounts
/// reads the device itself.
class ContentsCache {
 public:
  /// Reads the cache file. Empty for others than root, who read nothing from devices anyway.
  ContentsCache();

  /// The contents of the disk and all of its partitions, from the cache, else as readContents. The
  /// result is valid until the next call.
  [[nodiscard]] const ContentsByIdentifier& contentsOf(const Disk& disk);

  /// Writes what contentsOf was asked for to the cache file if it is not there yet. A failure only
  /// means that the next listing takes longer.
  void save() const;

 private:
  /// By the disk's fingerprint: identifier, partitions, and how much was written to it.
  using Entries = std::map<std::string, ContentsByIdentifier>;

  Entries stored_;
  Entries used_;
};

}  // namespace quorvel
