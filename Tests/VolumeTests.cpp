#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "Helper/VolumeModel.hpp"
#include "Tests/Support/PrivateMachine.hpp"
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

TEST_F(VolumeTest, IsOpenedAndGivenBackWithExactlyTheseScripts) {
  VolumeModel volume("My_Stick-1.0+", "disk2s1");
  volume.umount();
  volume.remove();
  EXPECT_EQ(machine.takeScripts(), Texts{}) << "it is not mounted yet";
  volume.mount();
  volume.mount();
  EXPECT_EQ(machine.takeScripts().size(), 1U);
  volume.showInFinder();
  volume.umount();
  EXPECT_EQ(volume.status(), Status::umounted);
  EXPECT_EQ(machine.takeScripts(),
            (Texts{"open /Volumes/My_Stick-1.0+", "diskutil umount disk2s1",
                   "echo '' | sudo -S rm -rf " + quotedFolder("My_Stick-1.0+") +
                       "\ndiskutil mount disk2s1"}));
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

/// (A mounted volume with nothing in it is tried with a real disk.)
TEST_F(VolumeTest, NeverDeletesWhatStandsInTheFoldersPlace) {
  for (const std::string thing : {"touch A", "mkdir -p A/.hidden", "ln -s nowhere A",
                                  "mkdir empty; ln -s empty A", "mkfifo A"}) {
    const std::string onDesktop = "cd " + machine.desktop().string() + "; ";
    const std::string list = onDesktop + "ls -lA --full-time . A/";
    shell(onDesktop + thing);
    const std::string before = shell(list);
    VolumeModel volume("A", "disk2s1");
    volume.mount();
    volume.umount();
    volume.remove();
    EXPECT_EQ(shell(list), before);
    shell(onDesktop + "rm -r *");
  }
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
