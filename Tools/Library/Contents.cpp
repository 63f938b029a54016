#include "Tools/Library/Contents.hpp"

#include <blkid/blkid.h>
#include <libudev.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <utility>

#include "Platform/Linux/Support/Owned.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

/// A value's name in libblkid, and in udev's records.
struct Key {
  const char* blkid;
  const char* udev;
};

constexpr Key kTableType{"PTTYPE", "ID_PART_TABLE_TYPE"};
constexpr Key kEntryType{"PART_ENTRY_TYPE", "ID_PART_ENTRY_TYPE"};
constexpr Key kUsage{"USAGE", "ID_FS_USAGE"};
constexpr Key kFileSystem{"TYPE", "ID_FS_TYPE"};
constexpr Key kLabel{"LABEL", "ID_FS_LABEL_ENC"};

constexpr std::array<std::pair<const char*, Key>, 4> kTags{
    {{"LABEL=", kLabel},
     {"UUID=", {"UUID", "ID_FS_UUID_ENC"}},
     {"PARTLABEL=", {"PART_ENTRY_NAME", "ID_PART_ENTRY_NAME"}},
     {"PARTUUID=", {"PART_ENTRY_UUID", "ID_PART_ENTRY_UUID"}}}};

// `valueOf` gives the empty text for what is not there.
Contents contentsFrom(const BlockDevice& device,
                      const std::function<std::string(const Key&)>& valueOf) {
  Contents contents;
  // In an Apple partition map it is whatever was written there.
  contents.type = printable(valueOf(device.isWhole() ? kTableType : kEntryType));
  if (valueOf(kUsage) != "filesystem" || device.hasPartitions) {
    return contents;
  }
  contents.fileSystem = valueOf(kFileSystem);
  contents.label = valueOf(kLabel);
  for (const auto& [tag, key] : kTags) {
    contents.tags.push_back(tag + valueOf(key));
  }
  if (device.isWhole()) {
    contents.type.clear();
  }
  return contents;
}

// --- What udev noted --------------------------------------------------------------------------

bool isUdevRunning() {
  constexpr const char* kControl = "/run/udev/control";
  static const bool running = [] {
    // The socket stays behind when udevd ends, and only root could knock. systemd listens for it.
    return ::access(kControl, F_OK) == 0 &&
           (::access("/run/systemd/system", F_OK) == 0 ||
            readSmallFile("/proc/net/unix").value_or("").find(kControl) != std::string::npos);
  }();
  return running;
}

using UdevRecord = Owned<udev_device, ::udev_device_unref>;

// Of the disk that is there now, not of a predecessor with the same device number: udev has seen
// the disk's sequence number, if it notes such numbers for disks of this kind.
bool isOfThisDisk(udev_device* whole, const BlockDevice& device) {
  constexpr std::string_view kLinks = "/dev/disk/by-diskseq/";
  bool isAnother = false;
  udev_list_entry* link = ::udev_device_get_devlinks_list_entry(whole);
  for (; link != nullptr; link = ::udev_list_entry_get_next(link)) {
    std::string_view name = ::udev_list_entry_get_name(link);
    if (name.starts_with(kLinks)) {
      name.remove_prefix(kLinks.size());
      isAnother = parseNumber<std::uint64_t>(name) != device.identifier.disk;
    }
  }
  return !isAnother;
}

// Null where udev has not looked at the device yet. A record of a partition is removed before the
// one of its disk comes to mean another.
UdevRecord openRecord(const BlockDevice& device) {
  const Owned<udev, ::udev_unref> context(::udev_new());
  UdevRecord record(::udev_device_new_from_devnum(context.get(), 'b', device.number));
  udev_device* const whole =
      record && !device.isWhole() ? ::udev_device_get_parent(record.get()) : record.get();
  const bool isKnown = whole != nullptr && ::udev_device_get_is_initialized(record.get()) > 0 &&
                       ::udev_device_get_is_initialized(whole) > 0 && isOfThisDisk(whole, device);
  return isKnown ? std::move(record) : nullptr;
}

std::optional<Contents> notedContents(const BlockDevice& device) {
  const UdevRecord record = openRecord(device);
  if (!record) {
    return std::nullopt;
  }
  return contentsOfRecord(device, [&record](const char* property) {
    const char* const text = ::udev_device_get_property_value(record.get(), property);
    return text == nullptr ? std::string() : text;
  });
}

// --- What the device itself holds -------------------------------------------------------------

using Probe = Owned<blkid_struct_probe, ::blkid_free_probe>;

// Of the kernel's own node (/dev/sdb1), if it still is the device that was listed; else null. Set
// to look for file systems, as udev is.
Probe openProbe(const BlockDevice& device) {
  Probe probe(::blkid_new_probe_from_filename(("/dev/" + device.kernelName).c_str()));
  if (!probe || ::blkid_probe_get_devno(probe.get()) != device.number) {
    return nullptr;
  }
  ::blkid_probe_enable_superblocks(probe.get(), 1);
  ::blkid_probe_set_superblocks_flags(
      probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_USAGE | BLKID_SUBLKS_LABEL | BLKID_SUBLKS_UUID);
  return probe;
}

std::string probedValue(blkid_probe probe, const char* name) {
  const char* data = nullptr;
  std::size_t length = 0;
  if (::blkid_probe_lookup_value(probe, name, &data, &length) != 0 || length == 0) {
    return {};
  }
  return {data, length - 1};  // The length counts the NUL at the end.
}

Contents probedContents(const BlockDevice& device) {
  const Probe probe = openProbe(device);
  if (!probe) {
    return {};
  }
  ::blkid_probe_enable_partitions(probe.get(), 1);
  ::blkid_probe_set_partitions_flags(probe.get(), BLKID_PARTS_ENTRY_DETAILS);
  // Negative also where two file systems seem to be: neither may be mounted then.
  if (::blkid_do_safeprobe(probe.get()) != 0) {
    return {};
  }
  return contentsFrom(device,
                      [&probe](const Key& key) { return probedValue(probe.get(), key.blkid); });
}

}  // namespace

bool mayReadContents() { return isRoot() || isUdevRunning(); }

std::optional<Contents> readContents(const BlockDevice& device) {
  return isUdevRunning() ? notedContents(device) : probedContents(device);
}

Contents requireContents(const BlockDevice& device) {
  auto contents = readContents(device);
  if (!contents) {
    throw ToolError("What is on " + toText(device.identifier) +
                    " is not known yet: udev has not looked at it. Try again in a moment.");
  }
  return std::move(*contents);
}

bool isUnrecognized(const BlockDevice& device) {
  const Probe probe = openProbe(device);
  return probe && ::blkid_do_safeprobe(probe.get()) == 1;
}

Contents contentsOfRecord(const BlockDevice& device,
                          const std::function<std::string(const char*)>& valueOf) {
  return contentsFrom(device, [&](const Key& key) { return decodeUdevText(valueOf(key.udev)); });
}

std::string nameOf(const Contents& contents) { return volumeName(contents.label); }

std::string decodeUdevText(std::string_view text) { return decodeEscapes(text, "\\x", 2, 16); }

}  // namespace quorvel
