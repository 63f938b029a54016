#include "Tools/Library/Contents.hpp"

#include <utility>

#include "Tools/Library/ContentProbe.hpp"
#include "Tools/Library/UdevRecord.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

// The disk itself. Its table, read once, also answers for the partitions; udev notes the type of a
// partition with the partition.
DiskProbe readWhole(const Disk& disk) {
  if (auto record = readUdevRecord(disk.whole)) {
    if (!record->tableType.empty()) {
      record->fileSystem.clear();
    }
    return {.contents = std::move(*record), .partitionTypes = {}};
  }
  return probeDisk(disk.whole);
}

Contents readPartition(const DiskProbe& whole, const BlockDevice& device) {
  auto record = readUdevRecord(device);
  Contents contents = record ? std::move(*record) : probePartition(device);
  const auto type = whole.partitionTypes.find(device.identifier.partition.value_or(0));
  if (type != whole.partitionTypes.end()) {
    contents.partitionType = type->second;
  }
  contents.tableType = whole.contents.tableType;
  return contents;
}

}  // namespace

void readContents(const Disk& disk, ContentsByIdentifier& contents) {
  DiskProbe whole = readWhole(disk);
  for (const BlockDevice& partition : disk.partitions) {
    contents[partition.identifier] = readPartition(whole, partition);
  }
  contents[disk.whole.identifier] = std::move(whole.contents);
}

Contents readContents(const Disk& disk, const BlockDevice& device) {
  DiskProbe whole = readWhole(disk);
  return device.identifier.partition ? readPartition(whole, device) : std::move(whole.contents);
}

std::string nameOf(const Contents& contents) { return volumeName(contents.label); }

}  // namespace quorvel
