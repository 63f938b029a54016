#include "Tools/diskutil/Wording.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace quorvel {
namespace {

struct Name {
  std::string_view key;
  std::string_view text;
};

constexpr std::array kNames{
    Name{"gpt", "GUID_partition_scheme"},
    Name{"dos", "FDisk_partition_scheme"},
    Name{"mac", "Apple_partition_scheme"},
    // Partition types of MBR disks, in hexadecimal, and of GPT disks.
    Name{"0x5", "DOS_Extended"},
    Name{"0x7", "Windows_NTFS"},
    Name{"0xb", "DOS_FAT_32"},
    Name{"0xc", "Windows_FAT_32"},
    Name{"0xe", "Windows_FAT_16"},
    Name{"0xf", "Windows_Extended"},
    Name{"0x27", "Windows_Recovery"},
    Name{"0x82", "Linux_Swap"},
    Name{"0x83", "Linux"},
    Name{"0x8e", "Linux_LVM"},
    Name{"0xee", "GPT_Protective"},
    Name{"0xef", "EFI"},
    Name{"ebd0a0a2-b9e5-4433-87c0-68b6b72699c7", "Microsoft Basic Data"},
    Name{"e3c9e316-0b5c-4db8-817d-f92df00215ae", "Microsoft Reserved"},
    Name{"de94bba4-06d1-4d40-a16a-bfd50179d6ac", "Windows Recovery"},
    Name{"c12a7328-f81f-11d2-ba4b-00a0c93ec93b", "EFI"},
    Name{"21686148-6449-6e6f-744e-656564454649", "Bios Boot Partition"},
    Name{"0fc63daf-8483-4772-8e79-3d69d8477de4", "Linux Filesystem"},
    Name{"4f68bce3-e8cd-4db1-96e7-fbcaf984b709", "Linux Root"},
    Name{"0657fd6d-a4ab-43c4-84e5-0933c84b4f4f", "Linux Swap"},
    Name{"e6d6d379-f507-44c2-a23c-238f2a3df928", "Linux LVM"},
    Name{"a19d880f-05fc-4d3b-a006-743f0f84911e", "Linux RAID"},
    Name{"48465300-0000-11aa-aa11-00306543ecac", "Apple_HFS"},
    Name{"7c3457ef-0000-11aa-aa11-00306543ecac", "Apple_APFS"},
    Name{"ntfs", "NTFS"},
    Name{"vfat", "MS-DOS"},
    Name{"exfat", "ExFAT"},
    Name{"hfsplus", "HFS+"},
    Name{"udf", "UDF"},
    Name{"iso9660", "ISO 9660"},
};

}  // namespace

std::string shownName(std::string_view name) {
  const auto* const found = std::ranges::find(kNames, name, &Name::key);
  return std::string(found == kNames.end() ? name : found->text);
}

std::string shortSize(std::uint64_t bytes) {
  constexpr std::array<const char*, 7> kUnits{"B", "KB", "MB", "GB", "TB", "PB", "EB"};
  constexpr double kRoundsUp = 999.95;  // To 1.0 of the next unit.
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= kRoundsUp && unit + 1 < kUnits.size(); ++unit) {
    size /= 1000;
  }
  std::array<char, 32> text{};
  static_cast<void>(
      std::snprintf(text.data(), text.size(), "%.*f %s", unit == 0 ? 0 : 1, size, kUnits.at(unit)));
  return text.data();
}

}  // namespace quorvel
