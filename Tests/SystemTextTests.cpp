// What is read of disks: names that whoever formatted one chose, and texts of the system.
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <sstream>
#include <tuple>

#include "Helper/DiskInfo.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/Identifier.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/NtfsDriver.hpp"
#include "Tools/diskutil/Wording.hpp"

namespace quorvel::test {
namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

TEST(Identifier, HasOneSpellingAndTheKernelsLimits) {
  for (const std::string text : {"disk0", "disk7s0", "disk18446744073709551615s4294967295"}) {
    const auto identifier = parseIdentifierOrNode("/dev/" + text);
    ASSERT_TRUE(identifier) << text;
    EXPECT_EQ(toText(*identifier), text);
    EXPECT_EQ(parseIdentifier(text), identifier);
  }
  std::istringstream others(
      ",disk,disk01,disk1s,disk1s01,disk1s1s1,disk1 , disk1,disk1\n,disk1\0,disk-1,disk+1,disk1s-1,"
      "disk0x1,Disk1,sda1,disk18446744073709551616,disk1s4294967296,/dev/disk1,../disk1"s);
  for (std::string text; std::getline(others, text, ',');) {
    EXPECT_FALSE(parseIdentifier(text)) << text;
    EXPECT_FALSE(parseIdentifierOrNode("/dev//" + text)) << text;
  }
}

std::string repeated(const std::string& text, int times) {
  return times == 0 ? "" : text + repeated(text, times - 1);
}

TEST(VolumeName, IsAlwaysOneHarmlessComponentOfAPath) {
  for (const auto& [label, name] :
       Pairs{{"  ", "Untitled"},
             {" My 漢 Stick ", " My 漢 Stick"},
             {"a/../b", "a:??:b"},
             {".", "?"},
             {"..", "??"},
             {"...", "..."},
             {"x: .. :y", "x: ?? :y"},
             {": :", "? ?"},
             {"a\nb\x1B[2J\x7F\0c"s, "a?b?[2J??c"},
             {"\xC2\x85\xFF\xC3", "???"},
             // NOLINTNEXTLINE(misc-misleading-bidirectional): as somebody may call a volume.
             {"\u202Egpj.exe\u2028a\u2029b\u2066\u200F", "?gpj.exe?a?b??"},
             {repeated("a", 300), repeated("a", 255)},
             {"a" + repeated("漢", 90), "a" + repeated("漢", 84)}}) {
    EXPECT_EQ(volumeName(label), name);
  }
  EXPECT_EQ(numberedName(repeated("漢", 85), 12), repeated("漢", 84) + " 12");
}

TEST(MountTable, IsReadWithItsEscapesAndWithoutWhatIsNotWhole) {
  const auto entries = parseMountTable(
      "36 35 98:0 /mnt1 /mnt2 ro,noatime master:1 shared:2 - fuseblk /dev/disk1s1 rw,errors=x\n"
      "37 35 8:17 / /Volumes/A\\040\\011\\012\\134b\\04 rw - ext4 /dev/a\\040b rw\n"
      "38 35 8:18 / /half\n"
      "39 35 8:19 / /V\\134040\\040-\\040ext4\\040/dev/x\\040 ro - fuseblk /dev/sdb1 rw\n"
      "41 35 8:19 / /\\400\\08\\ rw - ntfs3 /dev/sdb1\\ rw\n"
      "40 35 0:5 / /end rorw - tmpfs tmpfs");
  std::ostringstream rows;
  for (const MountEntry& entry : entries) {
    rows << entry.id << ' ' << entry.parent << ' ' << (entry.device == makedev(98, 0)) << ' '
         << entry.fileSystem << ' ' << entry.source << ' ' << entry.point << ' ' << entry.readOnly
         << '|';
  }
  EXPECT_EQ(rows.str(),
            "36 35 1 fuseblk /dev/disk1s1 /mnt2 1|"
            "37 35 0 ext4 /dev/a b /Volumes/A \t\n\\b\\04 0|"
            "39 35 0 fuseblk /dev/sdb1 /V\\040 - ext4 /dev/x  1|"
            "41 35 0 ntfs3 /dev/sdb1\\ /\\400\\08\\ 0|40 35 0 tmpfs tmpfs /end 0|");
}

/// What the driver says where no test has it say so of a disk.
TEST(NtfsAdvice, TellsByTheStatusThenByTheWordsAndNeverNothingOfAFailure) {
  for (const auto& [status, words, advice] :
       std::vector<std::tuple<int, std::string, std::string_view>>{
           {0, "Mounted it.", ""},
           {0, "The disk wasn't safely removed", "It was not unmounted cleanly"},
           {14, "unclean file system", "Windows is hibernated"},
           {15, "", "It was not unmounted cleanly"},
           {16, "busy", "Another program uses"},
           {21, "Windows is hibernated", "Windows is hibernated"},
           {21, "said", "The driver's own words"},
           {137, "", "The driver ended without"}}) {
    const auto given = ntfsAdvice(status, words);
    EXPECT_EQ(given.substr(0, advice.size()), advice) << status << words;
    EXPECT_EQ(given.empty(), advice.empty()) << status << words;
  }
}

TEST(Wording, NamesWhatIsKnownAndRoundsSizesUpToTheNextUnit) {
  const std::string strange = "deadbeef-b9e5-4433-87c0-68b6b72699c7";
  EXPECT_EQ(shownName("ebd0a0a2-b9e5-4433-87c0-68b6b72699c7"), "Microsoft Basic Data");
  EXPECT_EQ(shownName("0x7") + shownName("0x77") + shownName(""), "Windows_NTFS0x77");
  EXPECT_EQ(shownName(strange), strange);
  std::string sizes;
  for (const auto bytes : std::initializer_list<std::uint64_t>{
           0, 999, 1000, 999'949, 999'950, 1'250'000'000, 999'949'999'999'999, UINT64_MAX}) {
    sizes += shortSize(bytes) + '|';
  }
  EXPECT_EQ(sizes, "0 B|999 B|1.0 KB|999.9 KB|1.0 MB|1.2 GB|999.9 TB|18.4 EB|");
}

TEST(UdevText, IsDecodedByteByByteAndElseLeftAsItIs) {
  EXPECT_EQ(decodeUdevText("Wei\u00DF\\x20A\\x5cx41\\x00\\xfF\\x4g\\X41\\\\x41\\x-1\\x+1\\x 1\\x4"),
            "Wei\u00DF A\\x41\0\xFF\\x4g\\X41\\A\\x-1\\x+1\\x 1\\x4"s);
}

TEST(CommandOutput, IsTakenWordByWordAndValueByValue) {
  EXPECT_EQ(parseDiskList("/dev/disk2 (external, physical):\n"
                          "   1:               Windows_NTFS disk9 x       16.0 GB    disk2s1  \n"
                          "   \n\n"
                          "   2:                  Disk      disk3s1x\tdisk4s1\n"
                          "no Disk\ndisk2s1"),
            (Texts{"disk2s1", "disk3s1x\tdisk4s1", "disk2s1"}));
  EXPECT_EQ(parseMountList("A  1 2\n/dev/disk2s1  16G /Volumes/A B\n\n   \n tmpfs 1"),
            (Texts{"A", "/dev/disk2s1", "tmpfs"}));
  const std::string indent(valueIndent);
  EXPECT_EQ(parseDiskInfo("   Device Identifier:         disk2s1\n"
                          "   Volume Name:               My Stick\n\n"
                          "   Mounted:                   Yes\n"
                          "   Mount Point:               /Volumes/My Stick\n"
                          "   File System Personality:   NTFS\n"
                          "Volume Name:" +
                          indent + "a" + indent + "b\n" + "Volume Name:" + indent + indent +
                          "\nVolume Name:a:b:c\nVolume Name:"),
            (Texts{"My Stick", "    Yes", "   NTFS", "ab", "", "c", "Volume Name"}));
}

}  // namespace
}  // namespace quorvel::test
