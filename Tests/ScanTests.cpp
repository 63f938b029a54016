#include <gtest/gtest.h>

#include <algorithm>

#include "Helper/NTFSManager.hpp"
#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::test {
namespace {

using Texts = std::vector<std::string>;

const std::string kValuesOfA = R"(["A", "    Yes", "   NTFS"])";

class ScanTest : public testing::Test {
 protected:
  /// What it and what went before it logged.
  Texts scan() {
    manager.run();
    Texts items = machine.log();
    writeFile(machine.home() / "Quorvel_Helper.txt", "");
    return items;
  }
  Texts adopted() const {
    Texts names;
    for (const auto& volume : manager.previousInsertedNTFSVolumes()) {
      names.push_back(volume->ID() + "=" + volume->name());
    }
    return names;
  }

  StandInMachine machine;
  NTFSManager& manager = NTFSManager::shared();
};

TEST_F(ScanTest, TakesANewVolumeOverWithExactlyTheseScriptsInThisOrder) {
  machine.settings("<key>Quorvel.Mac.PWD.Key</key><data>c2VjcmV0</data>");  // secret
  machine.attach({"A"});
  EXPECT_EQ(scan(), (Texts{kValuesOfA, "new mounted", "A", "disk9s0",
                           R"((result: "umount disk9s0 done\n", error: ""))"}));
  const std::string folder = "'" + (machine.desktop() / "A").string() + "'";
  const std::string takeOver = "diskutil umount disk9s0\necho 'secret' | sudo -S mkdir " + folder +
                               "\necho 'secret' | sudo -S mount_ntfs -o rw,nobrowse /dev/disk9s0 " +
                               folder;
  EXPECT_EQ(machine.takeScripts(),
            (Texts{"diskutil list | grep -v 'APFS'", "diskutil info disk9s0", takeOver, "df -h"}));
  EXPECT_EQ(scan(), Texts{});
  EXPECT_EQ(machine.takeScripts(), (Texts{"diskutil list | grep -v 'APFS'", "df -h"}));
}

TEST_F(ScanTest, EndsEachExaminationAsItsAnswerDemands) {
  machine.answer("list", "disk1\ndisk2\ndisk3\ndisk4\ndisk5\ndisk6\ndisk6\ndisk1\ndisk8-APFS");
  machine.answer("info-disk2", "   Whole:   Yes\n");
  machine.answer("info-disk3", "Volume Name:   a\nMounted:  Yes\n");
  machine.describe("disk4", "ext", "Yes", "ntfs");
  machine.describe("disk5", "a b", "Yes", "Windows NTFS 3");
  machine.describe("disk6", "off", "Not applicable", "NTFS");
  std::filesystem::create_directory(machine.desktop() / "off");  // Whoever left it there.
  EXPECT_EQ(scan(), (Texts{"[]", R"(["   a", "  Yes"])", R"(["ext", "    Yes", "   ntfs"])",
                           "NOT NTFS", R"(["a b", "    Yes", "   Windows NTFS 3"])", "new mounted",
                           "a b", "disk5", R"((result: "umount disk5 done\n", error: ""))",
                           R"(["off", "    Not applicable", "   NTFS"])", "No mounted system",
                           R"(["off", "    Not applicable", "   NTFS"])", "No mounted system",
                           // The listing of mounts does not show disk5.
                           "remove", "a b", "disk5", R"((result: "", error: ""))"}));
  EXPECT_EQ(adopted(), Texts{"disk5=a b"});
  EXPECT_EQ(manager.previousInsertedVolumeIDs(),
            (Texts{"disk1", "disk2", "disk3", "disk4", "disk5"}));
  EXPECT_EQ(scan(), (Texts{R"(["off", "    Not applicable", "   NTFS"])", "No mounted system",
                           R"(["off", "    Not applicable", "   NTFS"])", "No mounted system"}));
}

TEST_F(ScanTest, NeverTakesOverANameThatIsNoFolderName) {
  const Texts names{"", ".", "..", "a/b", "../../etc", "/"};
  const std::string refusal = "卷名不能用作文件夹名";
  machine.attach(names);
  EXPECT_EQ(std::ranges::count(scan(), refusal), 6);
  EXPECT_EQ(adopted(), Texts{});
  machine.attach({});
  scan();
  machine.settings("<key>Quorvel.Manager.Style.Key</key><true/>");
  machine.attach(names);
  EXPECT_EQ(std::ranges::count(scan(), refusal), 0);
  machine.settings("");
  machine.takeScripts();
  for (const auto& volume : manager.previousInsertedNTFSVolumes()) {
    volume->mount();
    volume->umount();
  }
  EXPECT_EQ(machine.takeScripts(), Texts{});
  EXPECT_EQ(scan(), Texts(6, refusal)) << "each is the main application's";
}

TEST_F(ScanTest, CleansUpAfterAMountThatIsGoneAndForgetsWhatIsNoLongerListed) {
  machine.attach({"A"});
  scan();
  machine.answer("mounts", "/dev/disk9s01 1G\n");
  writeFile(machine.desktop() / "A/precious", "kept");
  EXPECT_EQ(scan(), Texts{}) << "a folder with something in it was removed";
  std::filesystem::remove(machine.desktop() / "A/precious");
  EXPECT_EQ(scan(), (Texts{"remove", "A", "disk9s0", R"((result: "", error: ""))"}));
  EXPECT_FALSE(std::filesystem::exists(machine.desktop() / "A"));
  EXPECT_EQ(adopted(), Texts{"disk9s0=A"});
  EXPECT_EQ(scan(), Texts{}) << "it is umounted by now";
  machine.answer("list", "disk2\n");
  EXPECT_EQ(scan(), (Texts{"remove disk9s0", "remove disk9s0"}));
  EXPECT_EQ(adopted(), Texts{});
  EXPECT_EQ(manager.previousInsertedVolumeIDs(), Texts{"disk2"});
  machine.attach({"A"});
  EXPECT_EQ(scan().front(), kValuesOfA) << "one that comes back is examined anew";
}

}  // namespace
}  // namespace quorvel::test
