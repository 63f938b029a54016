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
                          "no Disk\ndisk2s1"),
            (Texts{"disk2", "disk2s1", "disk3s1x\tdisk4s1", "disk2s1"}));
}

TEST(MountList, TakesTheFirstWordOfEveryRow) {
  EXPECT_EQ(
      parseMountList("Filesystem  Size Used\n/dev/disk2s1  16G /Volumes/A B\n\n   \n tmpfs 1"),
      (Texts{"Filesystem", "/dev/disk2s1", "tmpfs"}));
}

TEST(DiskInfo, TakesTheThreeWantedValuesAsTheyStandWithoutRunsOfFifteenBlanks) {
  const std::string indent(valueIndent);
  for (const auto& [output, values] : std::vector<std::pair<std::string, Texts>>{
           {"   Device Identifier:         disk2s1\n   Volume Name:               My Stick\n\n"
            "   Mounted:                   Yes\n   Mount Point:               /Volumes/My Stick\n"
            "   File System Personality:   NTFS\n",
            {"My Stick", "    Yes", "   NTFS"}},
           {"   Device Identifier:         disk2s1\n", {}},
           {"Mounted: Yes\nMounted: No\n", {" Yes", " No"}},
           {"Volume Name:" + indent + "a" + indent + "b", {"ab"}},
           {"Volume Name:" + indent + indent, {""}},
           {"Volume Name:" + indent + "    c", {"    c"}},
           {"Volume Name:" + indent + "a:b:c", {"c"}},
           {"Volume Name:", {"Volume Name"}}}) {
    EXPECT_EQ(parseDiskInfo(output), values) << output;
  }
}

}  // namespace
}  // namespace quorvel::test
