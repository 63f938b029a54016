// What is on a block device: its partition table, or its file system and label.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/Library/BlockDevices.hpp"

namespace quorvel {

/// Names are libblkid's, which the udev database has from it too.
struct Contents {
  std::string type;        ///< A partition's entry in the disk's table: "0x7", a GUID, a word,
                           ///< printable; or empty. Of a whole disk, that of its table: "gpt",
                           ///< "dos"; empty also where a file system is in the table's place.
  std::string fileSystem;  ///< "ntfs"; empty when there is none.
  std::string label;       ///< As whoever formatted the volume wrote it.
  std::vector<std::string> tags;  ///< What fstab(5) may call it: "UUID=...", "PARTLABEL=...".

  [[nodiscard]] bool isVolume() const { return !fileSystem.empty(); }
};

/// Whether we may ask what is on devices. Where udevd looks at them as they appear, anyone may:
/// what it noted is all that is known of them. Elsewhere they are read themselves, by root only.
[[nodiscard]] bool mayReadContents();

/// What is on the device; a device that cannot be read (no medium) has nothing on it. None while
/// udevd runs and has not looked at this very device yet.
[[nodiscard]] std::optional<Contents> readContents(const BlockDevice& device);

/// The same, but throws ToolError where nothing is known yet.
[[nodiscard]] Contents requireContents(const BlockDevice& device);

/// Whether nothing at all is recognized on the device: it is empty, or what is on it is badly
/// damaged. Reads the device itself; root only.
[[nodiscard]] bool isUnrecognized(const BlockDevice& device);

/// What udev's record of the device tells. `valueOf` gives the value of a property as udev keeps
/// it, the empty text for one that is not there.
[[nodiscard]] Contents contentsOfRecord(const BlockDevice& device,
                                        const std::function<std::string(const char*)>& valueOf);

/// The name of the volume as all tools use it (see volumeName).
[[nodiscard]] std::string nameOf(const Contents& contents);

/// The text that libblkid encoded for udev: "\x" and two hexadecimal digits stand for a byte. What
/// is not encoded so stays as it is.
[[nodiscard]] std::string decodeUdevText(std::string_view text);

}  // namespace quorvel
