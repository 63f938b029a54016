#include <gtest/gtest.h>

#include <thread>

#include "Helper/VolumeModel.hpp"
#include "Tests/Support/PrivateMachine.hpp"
#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::test {
namespace {

using Status = VolumeModel::Status;
using Texts = std::vector<std::string>;

struct VolumeTest : public testing::Test {
  StandInMachine machine;
};

TEST_F(VolumeTest, IsOpenedAndGivenBackWithExactlyTheseScripts) {
  const std::string name = "Größe_漢-1.0+,@%";
  VolumeModel volume(name, "disk2s1");
  volume.umount();  // It is not mounted yet.
  volume.remove();
  volume.mount();
  volume.mount();
  writeFile(machine.desktop() / name / "precious", "kept");
  volume.remove();
  volume.umount();
  volume.showInFinder();
  EXPECT_EQ(readFile(machine.desktop() / name / "precious"), "kept");
  std::filesystem::remove_all(machine.desktop() / name);
  volume.umount();
  volume.mount();
  volume.remove();
  EXPECT_EQ(volume.status(), Status::umounted);
  // It is taken over twice; the scan shows how.
  const Texts scripts = machine.takeScripts();
  const std::string removal =
      "echo '' | sudo -S rm -rf '" + (machine.desktop() / name).string() + "'";
  EXPECT_EQ(scripts, (Texts{scripts.at(0), "diskutil umount disk2s1", "open /Volumes/" + name,
                            "diskutil umount disk2s1", removal + "\ndiskutil mount disk2s1",
                            scripts.at(0), removal}));
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

TEST_F(VolumeTest, NeverInterleavesOperationsOfTwoVolumesOfOneName) {
  VolumeModel pulled("A", "disk1s1");
  VolumeModel other("A", "disk2s1");
  pulled.mount();
  writeScript(machine / "bin/sudo", R"sh(#!/bin/sh
    read -r password; shift
    [ $1 = rm ] && until [ -e $MACHINE/looked ]; do sleep 0.02; done &&
      for i in $(seq 20); do [ -e $MACHINE/mounted ] || sleep 0.1; done
    exec "$@")sh");
  writeScript(machine / "bin/mount_ntfs", "#!/bin/sh\necho >$MACHINE/mounted >$4/precious\n");
  std::thread scan([&] { pulled.remove(); });
  ASSERT_TRUE(machine.runs("rm -rf"));
  EXPECT_EQ(pulled.status(), Status::mounted) << "reading does not wait";
  writeFile(machine / "looked", "");
  other.mount();
  scan.join();
  EXPECT_TRUE(std::filesystem::exists(machine.desktop() / "A/precious"));
}

TEST_F(VolumeTest, IsGivenBackWhereThereCanBeNoFolder) {
  // NTFS has names for which Linux has no room.
  for (const auto& [name, desktop] :
       {std::pair{std::string(300, 'A'), ":"}, {"A", "rmdir ~/Desktop; echo a file >~/Desktop"}}) {
    shell(desktop);
    VolumeModel volume(name, "disk2s1");
    volume.mount();
    volume.umount();
    EXPECT_EQ(volume.status(), Status::umounted) << name;
    EXPECT_TRUE(machine.takeScripts().back().ends_with("\ndiskutil mount disk2s1")) << name;
  }
  EXPECT_EQ(readFile(machine.desktop()), "a file\n");
}

TEST_F(VolumeTest, AppearsOnTheDesktopThatPeopleSee) {
  namespace fs = std::filesystem;
  const std::string shown = machine.home() / "桌面 1";
  fs::create_directories(shown);
  for (const auto& [line, isLink] :
       {std::pair{"\"$HOME/桌面 1\"\n# XDG_DESKTOP_DIR=\"/\"\nXDG_DESKTOP_DIR=x\n", true},
        {"\"$HOME/桌面\\ 1\"", true},
        {"\"$HOME/\"", false},
        {"\"$HOME/Desktop\"", false},
        {"\"$HOME/missing\"", false},
        {"\"桌面 1\"", false},
        {"", false}}) {
    fs::remove_all(machine.desktop());
    writeFile(machine / "config/user-dirs.dirs", std::string("XDG_DESKTOP_DIR=") + line);
    VolumeModel volume("A", "disk2s1");
    EXPECT_FALSE(fs::is_directory(machine.desktop())) << "before it is needed";
    volume.mount();
    EXPECT_TRUE(fs::is_directory(machine.desktop() / "A")) << line;
    EXPECT_EQ(fs::is_symlink(machine.desktop()), isLink) << line;
    EXPECT_EQ(fs::exists(shown + "/A"), isLink) << line;
    volume.umount();
    EXPECT_FALSE(fs::exists(machine.desktop() / "A")) << line;
  }
}

}  // namespace
}  // namespace quorvel::test
