#include "Tools/Library/ContentProbe.hpp"

#include <blkid/blkid.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

struct FreeProbe {
  void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};
using UniqueProbe = std::unique_ptr<std::remove_pointer_t<blkid_probe>, FreeProbe>;

// The kernel's own node (/dev/sdb1), if it still is the device that was listed.
UniqueFd openDevice(const BlockDevice& device) {
  const std::string path = "/dev/" + device.kernelName;
  UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file && (errno == EACCES || errno == EPERM) && !isRoot()) {
    throw NeedsRoot(path + " may only be read by root.");
  }
  struct stat status {};
  const bool same = file && ::fstat(file.get(), &status) == 0 && S_ISBLK(status.st_mode) &&
                    status.st_rdev == device.number;
  return same ? std::move(file) : UniqueFd();
}

// The probe borrows the descriptor.
UniqueProbe openProbe(const UniqueFd& file) {
  UniqueProbe probe(file ? blkid_new_probe() : nullptr);
  if (probe && blkid_probe_set_device(probe.get(), file.get(), 0, 0) != 0) {
    probe.reset();
  }
  return probe;
}

std::string value(blkid_probe probe, const char* name) {
  const char* data = nullptr;
  std::size_t length = 0;
  if (blkid_probe_lookup_value(probe, name, &data, &length) != 0 || length == 0) {
    return {};
  }
  return {data, length - 1};  // The length counts the NUL at the end.
}

// blkid_do_safeprobe gives 0 when it found one thing, 1 for nothing, and a negative number where
// two file systems seem to be: neither may be mounted then.
void lookForFileSystem(blkid_probe probe, Contents& contents) {
  blkid_probe_enable_superblocks(probe, 1);
  blkid_probe_set_superblocks_flags(probe,
                                    BLKID_SUBLKS_TYPE | BLKID_SUBLKS_USAGE | BLKID_SUBLKS_LABEL);
  const int result = blkid_do_safeprobe(probe);
  contents.isUnrecognized = result == 1;
  if (result == 0 && value(probe, "USAGE") == "filesystem") {
    contents.fileSystem = value(probe, "TYPE");
    contents.label = value(probe, "LABEL");
  }
}

bool lookForTable(blkid_probe probe) {
  blkid_probe_enable_superblocks(probe, 0);
  blkid_probe_enable_partitions(probe, 1);
  blkid_probe_set_partitions_flags(probe, BLKID_PARTS_ENTRY_DETAILS);
  return blkid_do_safeprobe(probe) == 0;
}

// A number, or a text: the GUID of a GPT, but in an Apple partition map whatever was written there.
std::string entryType(blkid_partition partition) {
  if (const char* const text = blkid_partition_get_type_string(partition)) {
    return printable(text);
  }
  std::string digits;
  for (int rest = blkid_partition_get_type(partition); rest != 0; rest /= 16) {
    digits.insert(digits.begin(),
                  std::string_view("0123456789abcdef").at(static_cast<std::size_t>(rest % 16)));
  }
  return "0x" + (digits.empty() ? "0" : digits);
}

void readPartitionTypes(blkid_probe probe, DiskProbe& result) {
  blkid_partlist list = blkid_probe_get_partitions(probe);
  const int count = list == nullptr ? 0 : blkid_partlist_numof_partitions(list);
  for (int i = 0; i < count; ++i) {
    blkid_partition partition = blkid_partlist_get_partition(list, i);
    const auto number = static_cast<std::uint32_t>(blkid_partition_get_partno(partition));
    result.partitionTypes[number] = entryType(partition);
  }
}

}  // namespace

DiskProbe probeDisk(const BlockDevice& disk) {
  const UniqueFd file = openDevice(disk);
  const UniqueProbe probe = openProbe(file);
  DiskProbe result;
  if (!probe) {
    return result;
  }
  result.contents.isReadable = true;
  if (lookForTable(probe.get())) {
    result.contents.tableType = value(probe.get(), "PTTYPE");
    readPartitionTypes(probe.get(), result);
  }
  // The boot sector of a damaged volume looks like an MBR without partitions.
  if (result.partitionTypes.empty()) {
    blkid_probe_enable_partitions(probe.get(), 0);
    lookForFileSystem(probe.get(), result.contents);
  }
  if (result.contents.isVolume()) {
    result.contents.tableType.clear();
  }
  return result;
}

Contents probePartition(const BlockDevice& partition) {
  const UniqueFd file = openDevice(partition);
  const UniqueProbe probe = openProbe(file);
  Contents contents;
  contents.isReadable = probe != nullptr;
  if (probe) {
    lookForFileSystem(probe.get(), contents);
  }
  return contents;
}

}  // namespace quorvel
