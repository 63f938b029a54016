#include "Tools/Library/UdevRecord.hpp"

#include <systemd/sd-device.h>
#include <unistd.h>

#include <charconv>
#include <memory>
#include <string_view>

namespace quorvel {
namespace {

struct ReleaseDevice {
  void operator()(sd_device* device) const { sd_device_unref(device); }
};
using UniqueDevice = std::unique_ptr<sd_device, ReleaseDevice>;

UniqueDevice openRecord(dev_t number) {
  sd_device* device = nullptr;
  const int error = sd_device_new_from_devnum(&device, 'b', number);
  UniqueDevice owned(device);
  const bool known = error >= 0 && sd_device_get_is_initialized(device) > 0;
  return known ? std::move(owned) : nullptr;
}

std::string property(sd_device* device, const char* key) {
  const char* value = nullptr;
  return sd_device_get_property_value(device, key, &value) >= 0 ? value : "";
}

// libblkid writes an unsafe byte of an ..._ENC property as \x and two hexadecimal digits.
std::string decoded(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    unsigned char byte = 0;
    const bool escaped = text.starts_with("\\x") && text.size() >= 4;
    const char* const digits = text.data() + 2;
    if (escaped && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      result += static_cast<char>(byte);
      text.remove_prefix(4);
    } else {
      result += text.front();
      text.remove_prefix(1);
    }
  }
  return result;
}

}  // namespace

bool isUdevThere() { return ::access("/run/udev/data", F_OK) == 0; }

std::optional<Contents> readUdevRecord(const BlockDevice& device) {
  const UniqueDevice record = isUdevThere() ? openRecord(device.number) : nullptr;
  if (!record) {
    return std::nullopt;
  }
  Contents contents;
  contents.isReadable = true;
  contents.tableType = property(record.get(), "ID_PART_TABLE_TYPE");
  contents.partitionType = property(record.get(), "ID_PART_ENTRY_TYPE");
  const std::string usage = property(record.get(), "ID_FS_USAGE");
  contents.isUnrecognized = usage.empty() && contents.tableType.empty() &&
                            property(record.get(), "ID_FS_AMBIVALENT").empty();
  if (usage == "filesystem") {
    contents.fileSystem = property(record.get(), "ID_FS_TYPE");
    contents.label = decoded(property(record.get(), "ID_FS_LABEL_ENC"));
  }
  return contents;
}

}  // namespace quorvel
