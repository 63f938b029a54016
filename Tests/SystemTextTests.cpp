// What root's code reads: names that whoever formatted a disk chose, and texts of the system.
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <sstream>

#include "Tools/Library/Contents.hpp"
#include "Tools/Library/Identifier.hpp"
#include "Tools/Library/MountTable.hpp"
#include "Tools/Library/NtfsDriver.hpp"
#include "Tools/Library/PartitionType.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel::test {
namespace {

using std::string_literals::operator""s;

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
  for (const auto& [label, name] : std::vector<std::pair<std::string, std::string>>{
           {"", "Untitled"},
           {"  ", "Untitled"},
           {" My 漢 Stick ", " My 漢 Stick"},
           {"a/../b", "a:??:b"},
           {".", "?"},
           {"..", "??"},
           {"...", "..."},
           {"x: .. :y", "x: ?? :y"},
           {": :", "? ?"},
           {"a\nb\x1B[2J\x7F\0c"s, "a?b?[2J??c"},
           {"\xC2\x85\xFF\xC3", "???"},
           {"\u202Egpj.exe\u2028a\u2029b\u2066\u200F", "?gpj.exe?a?b??"},
           {repeated("a", 300), repeated("a", 255)},
           {"a" + repeated("漢", 90), "a" + repeated("漢", 84)}}) {
    EXPECT_EQ(volumeName(label), name);
  }
  EXPECT_EQ(numberedName("A", 0), "A");
  EXPECT_EQ(numberedName(repeated("漢", 85), 12), repeated("漢", 84) + " 12");
}

TEST(MountTable, IsReadWithItsEscapesAndWithoutWhatIsNotWhole) {
  const auto entries = parseMountTable(
      "36 35 98:0 /mnt1 /mnt2 ro,noatime master:1 shared:2 - fuseblk /dev/disk1s1 rw,errors=x\n"
      "37 35 8:17 / /Volumes/A\\040\\011\\012\\134b\\04 rw - ext4 /dev/a\\040b rw\n"
      "\n"
      "38 35 8:18 / /half\n"
      "x 35 8:18 / /point rw - ext4 /dev/sdb2 rw\n"
      "39 35 8 / /point rw - ext4 /dev/sdb2 rw\n"
      "40 35 0:5 / /end rorw - tmpfs tmpfs");
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].id, 36);
  EXPECT_EQ(entries[0].parent, 35);
  EXPECT_EQ(entries[0].device, makedev(98, 0));
  EXPECT_EQ(entries[0].fileSystem + entries[0].source, "fuseblk/dev/disk1s1");
  EXPECT_TRUE(entries[0].readOnly);
  EXPECT_EQ(entries[1].point, "/Volumes/A \t\n\\b\\04");
  EXPECT_EQ(entries[1].source, "/dev/a b");
  EXPECT_FALSE(entries[1].readOnly);
  EXPECT_FALSE(entries[2].readOnly);
}

TEST(UdevText, IsDecodedByteByByteAndElseLeftAsItIs) {
  for (const auto& [text, decoded] : std::vector<std::pair<std::string, std::string>>{
           {"", ""},
           {"Wei\u00DF\\x20A", "Wei\u00DF A"},
           {"\\x5cx41\\x00\\xfF\\x0a", "\\x41\0\xFF\n"s},
           {"\\x4", "\\x4"},
           {"\\x4g\\X41\\\\x41\\", "\\x4g\\X41\\A\\"},
           {"\\x-1\\x+1\\x 1\\x", "\\x-1\\x+1\\x 1\\x"}}) {
    EXPECT_EQ(decodeUdevText(text), decoded) << text;
  }
}

TEST(PartitionType, HasTheNameThatPeopleKnow) {
  for (const auto& [type, name] : std::vector<std::pair<std::string, std::string>>{
           {"0x7", "Windows_NTFS"},
           {"ebd0a0a2-b9e5-4433-87c0-68b6b72699c7", "Microsoft Basic Data"},
           {"gpt", "GUID_partition_scheme"},
           {"ntfs", "NTFS"},
           {"a word", "a word"},
           {"", ""}}) {
    EXPECT_EQ(shownName(type), name);
  }
}

TEST(NtfsDriver, IsUnderstoodByItsStatusAndByItsWords) {
  const std::string hibernated = "Windows is hibernated, refused to mount.\n";
  for (const auto& [status, words, advice] : std::vector<std::tuple<int, std::string, std::string>>{
           {0, hibernated, "shutdown /s /t 0"},
           {14, "", "shutdown /s /t 0"},
           {0, "The disk contains an unclean file system (0, 0).\n", "not unmounted cleanly"},
           {13, hibernated, "is damaged"},
           {12, "", "valid NTFS"},
           {16, "", "Another program"},
           {21, "\xFF\0x"s, "driver's own words"}}) {
    EXPECT_NE(ntfsAdvice(status, words).find(advice), std::string_view::npos) << advice;
  }
  EXPECT_EQ(ntfsAdvice(0, ""), "");
}

}  // namespace
}  // namespace quorvel::test
