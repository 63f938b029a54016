#include "Tools/mount_ntfs/MountOptions.hpp"

#include <algorithm>
#include <array>

#include "Platform/Text/TakeUntil.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

struct Option {
  std::string_view word;
  void (*apply)(MountOptions& options);
};

constexpr auto kDrop = [](MountOptions&) {};
constexpr auto kReadOnly = [](MountOptions& options) { options.readOnly = true; };
constexpr auto kReadWrite = [](MountOptions& options) { options.readOnly = false; };

constexpr std::array kOptions{
    Option{"rw", kReadWrite},
    Option{"ro", kReadOnly},
    Option{"rdonly", kReadOnly},
    Option{"nobrowse", kDrop},
    Option{"nosuid", kDrop},
    Option{"nodev", kDrop},
    Option{"noexec", [](MountOptions& options) { options.noExec = true; }},
    Option{"noatime", [](MountOptions& options) { options.noAccessTimes = true; }},
};

void addOption(std::string_view word, MountOptions& options) {
  const auto known = std::find_if(kOptions.begin(), kOptions.end(),
                                  [word](const Option& option) { return option.word == word; });
  if (known == kOptions.end()) {
    throw UsageError("mount_ntfs: the mount option \"" + printable(word) + "\" is not known.");
  }
  known->apply(options);
}

}  // namespace

void addMountOptions(std::string_view list, MountOptions& options) {
  while (!list.empty()) {
    const std::string_view word = takeUntil(list, ',');
    if (!word.empty()) {
      addOption(word, options);
    }
  }
}

// Not delay_mtime: it sets a file's time anew when the file is closed, over the one that whoever
// copied the file has just given it.
// A user map on the disk would choose owners, set-user-id programs and all.
std::string driverOptions(const MountOptions& options, unsigned user, unsigned group) {
  std::string text = options.readOnly ? "ro" : "rw";
  text += ",nosuid,nodev,big_writes,umask=077,fmask=0177,usermapping=/dev/null,uid=" +
          std::to_string(user) + ",gid=" + std::to_string(group);
  text += options.noExec ? ",noexec" : "";
  text += options.noAccessTimes ? ",noatime" : "";
  return text;
}

}  // namespace quorvel
