#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "Helper/VolumeModel.hpp"
#include "Tests/Support/LogReader.hpp"
#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::test {
namespace {

using Status = VolumeModel::Status;
using Texts = std::vector<std::string>;

class VolumeTest : public testing::Test {
 protected:
  [[nodiscard]] std::string quotedFolder(const std::string& name) const {
    return "'" + (machine.desktop() / name).string() + "'";
  }

  StandInMachine machine;
};

TEST_F(VolumeTest, BeginsUmountedAndKeepsItsPaths) {
  VolumeModel volume("A", "disk2s1");
  EXPECT_EQ(volume.status(), Status::umounted);
  EXPECT_EQ(volume.path(), "/dev/disk2s1");
  EXPECT_EQ(volume.desktopPath(), machine.desktop());
  setEnvironment("HOME", machine / "elsewhere");
  EXPECT_EQ(volume.desktopPath(), machine.desktop());
  volume.umount();
  volume.remove();
  EXPECT_EQ(machine.takeScripts(), Texts{});
}

TEST_F(VolumeTest, IsGivenBackWithExactlyTheseScripts) {
  VolumeModel volume("A", "disk2s1");
  volume.mount();
  volume.mount();
  EXPECT_EQ(machine.takeScripts().size(), 1U);
  machine.takeLog();
  volume.umount();
  EXPECT_EQ(volume.status(), Status::umounted);
  EXPECT_EQ(machine.takeScripts(),
            (Texts{"diskutil umount disk2s1",
                   "echo '' | sudo -S rm -rf " + quotedFolder("A") + "\ndiskutil mount disk2s1"}));
  EXPECT_EQ(machine.takeLog(),
            (Texts{"umounted", "A", "disk2s1", R"((result: "umount disk2s1 done\n", error: ""))",
                   "remove", "A", "disk2s1", R"((result: "mount disk2s1 done\n", error: ""))"}));
  EXPECT_FALSE(std::filesystem::exists(machine.desktop() / "A"));
}

TEST_F(VolumeTest, StaysMountedWhileThereIsSomethingInItsFolder) {
  VolumeModel volume("A", "disk2s1");
  volume.mount();
  machine.takeScripts();
  writeFile(machine.desktop() / "A/precious", "kept");
  volume.remove();
  EXPECT_EQ(machine.takeScripts(), Texts{});
  volume.umount();
  EXPECT_EQ(machine.takeScripts(), Texts{"diskutil umount disk2s1"});
  EXPECT_EQ(volume.status(), Status::mounted);
  EXPECT_EQ(readFile(machine.desktop() / "A/precious"), "kept");
  std::filesystem::remove_all(machine.desktop() / "A");
  volume.remove();
  EXPECT_EQ(machine.takeScripts(), Texts{"echo '' | sudo -S rm -rf " + quotedFolder("A")});
  EXPECT_EQ(volume.status(), Status::umounted);
}

TEST_F(VolumeTest, NeverDeletesWhatStandsInTheFoldersPlace) {
  writeFile(machine.desktop() / "A", "a file of the user's");
  VolumeModel volume("A", "disk2s1");
  volume.mount();
  volume.umount();
  volume.remove();
  EXPECT_EQ(readFile(machine.desktop() / "A"), "a file of the user's");
}

TEST_F(VolumeTest, HandsHostileNamesAndPasswordsOnUnchanged) {
  const std::string name = "it's; $(touch hurt) `x` \\ \"";
  machine.settings("<key>Quorvel.Mac.PWD.Key</key><data>LW5cdCdhJHh5</data>");
  VolumeModel volume(name, "disk2s1");
  volume.mount();
  EXPECT_TRUE(std::filesystem::is_directory(machine.desktop() / name));
  EXPECT_EQ(readFile(machine / "mounted"),
            "-o rw,nobrowse /dev/disk2s1 " + (machine.desktop() / name).string() + "\n");
  EXPECT_EQ(readFile(machine / "passwords"), "-n\\t'a$xy\n-n\\t'a$xy\n");
  volume.showInFinder();
  EXPECT_EQ(readFile(machine / "opened"), "1\n/Volumes/" + name + "\n");
  volume.umount();
  EXPECT_TRUE(std::filesystem::is_empty(machine.desktop()));
}

TEST_F(VolumeTest, IsOpenedByItsBareNameWhenThatIsPlain) {
  VolumeModel("Stick-1", "disk2s1").showInFinder();
  EXPECT_EQ(machine.takeScripts(), Texts{"open /Volumes/Stick-1"});
  EXPECT_EQ(machine.takeLog(), (Texts{"open", "Stick-1", "disk2s1", R"((result: "", error: ""))"}));
}

TEST_F(VolumeTest, RunsNothingInManagerStyleButRemoves) {
  machine.settings("<key>Quorvel.Manager.Style.Key</key><true/>");
  VolumeModel volume("A", "disk2s1");
  volume.mount();
  EXPECT_EQ(volume.status(), Status::mounted);
  volume.umount();
  EXPECT_EQ(volume.status(), Status::umounted);
  EXPECT_EQ(machine.takeScripts(), Texts{});
  volume.mount();
  volume.remove();
  EXPECT_EQ(machine.takeScripts().size(), 1U);
  EXPECT_EQ(volume.status(), Status::umounted);
}

TEST_F(VolumeTest, NeverInterleavesTwoOperations) {
  VolumeModel volume("A", "disk2s1");
  volume.mount();
  ::mkfifo((machine / "gate").c_str(), 0600);
  writeScript(machine / "bin/diskutil", "#!/bin/sh\n[ $1 = umount ] && cat \"$MACHINE/gate\"\n:");
  machine.takeScripts();
  std::thread first([&] { volume.umount(); });
  ASSERT_TRUE(eventually([&] { return !readFile(machine / "scripts").empty(); }));
  std::thread second([&] { volume.remove(); });
  EXPECT_EQ(volume.status(), Status::mounted) << "reading does not wait";
  writeFile(machine / "gate", "");
  first.join();
  second.join();
  EXPECT_EQ(machine.takeScripts(),
            (Texts{"diskutil umount disk2s1",
                   "echo '' | sudo -S rm -rf " + quotedFolder("A") + "\ndiskutil mount disk2s1"}));
}

}  // namespace
}  // namespace quorvel::test
