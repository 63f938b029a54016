#include "Helper/DiskInfo.hpp"

#include <gtest/gtest.h>

namespace quorvel::test {
namespace {

using Texts = std::vector<std::string>;

TEST(DiskList, TakesTheLastWordOfRowsWhereItIsAnIdentifier) {
  EXPECT_EQ(parseDiskList("/dev/disk2 (external, physical):\n"
                          "   #:                       TYPE NAME          SIZE       IDENTIFIER\n"
                          "   0:     FDisk_partition_scheme              *16.0 GB    disk2\n"
                          "   1:               Windows_NTFS disk9 x       16.0 GB    disk2s1  \n"
                          "   \n\n"
                          "   2:                  Disk      disk3s1x\tdisk4s1\n"
                          "disk2s1"),
            (Texts{"disk2", "disk2s1", "disk3s1x\tdisk4s1", "disk2s1"}));
  EXPECT_EQ(parseDiskList(""), Texts{});
  EXPECT_EQ(parseDiskList("no Disk\n/dev/disk1\n"), Texts{});
}

TEST(MountList, TakesTheFirstWordOfEveryRow) {
  EXPECT_EQ(
      parseMountList("Filesystem  Size Used\n/dev/disk2s1  16G /Volumes/A B\n\n   \n tmpfs 1"),
      (Texts{"Filesystem", "/dev/disk2s1", "tmpfs"}));
}

TEST(DiskInfo, TakesTheThreeWantedValuesAsTheyStandInTheirRows) {
  EXPECT_EQ(parseDiskInfo("   Device Identifier:         disk2s1\n"
                          "   Volume Name:               My Stick\n\n"
                          "   Mounted:                   Yes\n"
                          "   Mount Point:               /Volumes/My Stick\n"
                          "   File System Personality:   NTFS\n"),
            (Texts{"My Stick", "    Yes", "   NTFS"}));
  EXPECT_EQ(parseDiskInfo("   Device Identifier:         disk2s1\n"), Texts{});
  EXPECT_EQ(parseDiskInfo("Mounted: Yes\nMounted: No\n"), (Texts{" Yes", " No"}));
}

TEST(DiskInfo, RemovesRunsOfFifteenBlanksAndAllUpToTheLastColon) {
  const std::string indent(valueIndent);
  EXPECT_EQ(parseDiskInfo("Volume Name:" + indent + "a" + indent + "b"), Texts{"ab"});
  EXPECT_EQ(parseDiskInfo("Volume Name:" + indent + indent), Texts{""});
  EXPECT_EQ(parseDiskInfo("Volume Name:" + indent + "    c"), Texts{"    c"});
  EXPECT_EQ(parseDiskInfo("Volume Name:" + indent + "a:b:c"), Texts{"c"});
  EXPECT_EQ(parseDiskInfo("Volume Name:"), Texts{"Volume Name"});
}

}  // namespace
}  // namespace quorvel::test
