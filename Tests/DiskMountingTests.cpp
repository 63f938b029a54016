// `diskutil mount` and `umount`: for whom, and what of other people's they leave alone.
#include <gtest/gtest.h>

#include <sstream>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Prompt.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using DiskMounting = DiskToolsTest;

TEST_F(DiskMounting, MountAndUnmountForAnOrdinaryUserAndLetHimDoNothingElse) {
  const auto disk = plugIn("Free");
  expectRefusal("$TESTER diskutil mount ${ID%1}2", "or a locked one (BitLocker)");
  expectRefusal("mkfs.ext4 -q ${PART%1}2; $LOOK; $TESTER diskutil mount ${ID%1}2", "of type ext4");
  expectRefusal("mkdir ~/linux; mount ${PART%1}2 ~/linux; $TESTER diskutil umount ${ID%1}2",
                "It is not an NTFS volume");
  EXPECT_EQ(run("umount ~/linux; $TESTER diskutil mount $ID"), says("Free", "mounted"));
  std::istringstream commands(
      R"(diskutil umount "$ID x";diskutil umount $ID x;diskutil umount "$ID
x";diskutil umount /dev/$ID;diskutil info $ID --help;diskutil mount ../../x;diskutil list x;diskutil;
diskutil --help;A=b diskutil list;-E diskutil list;-u daemon diskutil list;-D / diskutil list;
-C 9 diskutil list;-s diskutil list;-e diskutil;diskutil info $ID '';diskutil '' info $ID;
diskutil list '';diskutil info "$ID
$ID";./diskutil list;mount_ntfs /dev/$ID /mnt;rm -rf /Volumes/Free;id)");
  for (std::string command; std::getline(commands >> std::ws, command, ';');) {
    expectRefusal("$TESTER sudo -n " + command, "sudo: ");
  }
  EXPECT_EQ(run("$TESTER diskutil list | grep -c $ID; stat -c %U:%G:%a /Volumes/Free"),
            "1\nroot:sudo:550\n");
  // What is not written into the system's log.
  EXPECT_EQ(run("sudo -l -U tester | grep -o 'Defaults!.* !syslog'"),
            "Defaults!/usr/local/bin/diskutil list, "
            "/usr/local/bin/diskutil ^info disk[0-9]+(s[0-9]+)?$ !syslog\n");
  const std::string PID = run("cd /Volumes/Free; sleep 600 >/dev/null 2>&1 & echo -n $!");
  expectRefusal("$TESTER diskutil umount $ID", "dissented by PID " + PID + " (/");
  EXPECT_EQ(disk->mounts(), "/Volumes/Free ro\n");
  run("(sleep 0.5; kill " + PID + ") >/dev/null 2>&1 &");  // As a thumbnailer soon lets go.
  EXPECT_EQ(run("$TESTER diskutil umount $ID"), says("Free", "unmounted"));
  EXPECT_EQ(run("$TESTER diskutil umount $ID"), ID + " was already unmounted\n");
  expectNothingLeft();
}

TEST_F(DiskMounting, FindAFolderForEveryVolumeWhoeverUnmountsIt) {
  const auto first = plugIn("Twin");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(run("diskutil mount $ID; df -h | grep -o ^/dev/$ID; umount $PART; ls -A /Volumes"),
              says("Twin", "mounted") + "/dev/" + ID + "\nTwin\n");
  }
  run("diskutil mount $ID");
  const auto other = plugIn("Twin");
  run("diskutil mount $ID");
  EXPECT_EQ(run("diskutil mount $ID"), says("Twin", "mounted")) << "where it is mounted already";
  EXPECT_EQ(run("diskutil unmount >/dev/null " + first->ID()), "");
  EXPECT_EQ(other->mounts(), "/Volumes/Twin 1 ro\n");
  EXPECT_EQ(run("umount $PART; mkdir /Volumes/Twin; touch /Volumes/Twin/x; diskutil mount $ID"),
            says("Twin", "mounted"));
  EXPECT_EQ(other->mounts(), "/Volumes/Twin 1 ro\n") << "the folder is not empty";
}

TEST_F(DiskMounting, LeaveToOthersWhatIsTheirs) {
  const auto disk = plugIn("Theirs");
  setEnvironment("IMAGE", run("losetup -nO BACK-FILE ${PART%p1}"));
  const std::string mount = "SUDO_UID=$(id -u tester) mount_ntfs /dev/$ID ~/windows";
  const std::string unmount = "$TESTER diskutil umount $ID";
  run("useradd -M other; mkdir -p ~/windows /media/other/Theirs; chown other $IMAGE; "
      "diskutil mount $ID");
  expectRefusal(unmount, "not known to be yours or root's");
  expectRefusal(mount, "is mounted on");
  expectRefusal("diskutil umount $ID >/dev/null; " + mount, "not known to be yours");
  expectRefusal("$TESTER diskutil mount $ID", "not known to be yours");
  const std::string deep =  // No path leads there.
      "cd ${IMAGE%/*}; perl -e 'for (1..20) { mkdir q(x) x 250; chdir q(x) x 250 } rename ";
  EXPECT_EQ(run(deep + "shift, q(i) or die $!' $IMAGE"), "");
  expectRefusal(mount, "not known to be yours");
  EXPECT_EQ(run(deep + "q(i), shift' $IMAGE"), "");
  expectRefusal("chown root $IMAGE; chmod o+w $IMAGE; " + mount, "not known to be yours");
  expectRefusal("chmod 664 $IMAGE; chgrp other $IMAGE; " + mount, "not known to be yours");
  run("chgrp root $IMAGE; SUDO_UID=$(id -u other) mount_ntfs /dev/$ID ~/windows");
  expectRefusal(unmount, "It was mounted for other");
  run("umount $PART; mount --bind /media/other /media/other; ntfs-3g $PART /media/other/Theirs");
  expectRefusal(unmount, "It was mounted for other");
  run("umount $PART; ntfs-3g $PART ~/windows; chown tester $IMAGE");
  for (const char* row : {"/dev/none $HOME/windows", "LABEL=Theirs /none", "$PART /none"}) {
    setEnvironment("ROW", row);
    expectRefusal("eval echo $ROW ntfs defaults 0 0 >/etc/fstab; " + unmount,
                  "the administrator's will");
  }
  EXPECT_EQ(run("echo >/etc/fstab; " + unmount), says("Theirs", "unmounted"));
  run("rm -r /media/other");
}

TEST_F(DiskMounting, WaitForOneAnotherOnTheSameVolumeOnlyAndNotForEver) {
  const auto held = plugIn("Held");
  setEnvironment("HELD", ID);
  const auto disk = plugIn("Free");
  run(R"(exec >/dev/null 2>&1; perl -MFcntl -e '($d, $p) = $ENV{HELD} =~ /(\d+)s(\d+)/;
open F, "+>>", "/run/quorvel-volumes.lock"; fcntl F, F_SETLK, pack "s s x4 q q i x4", F_WRLCK, 0,
4096 + $d * 4096 + $p, 1, 0; open G, ">", "$ENV{HOME}/locked"; sleep 600' & echo $! >~/pid)");
  ASSERT_TRUE(eventually([&] { return fs::exists(home / "locked"); }));
  EXPECT_EQ(run("diskutil mount $ID"), says("Free", "mounted"));
  expectRefusal(fastClock(100) + "diskutil mount $HELD",
                "Another program works on " + held->ID() + ": PID " +
                    std::to_string(std::stoi(readFile(home / "pid"))) + " (/usr/bin/perl");
  run("kill $(cat ~/pid)");
}

TEST_F(DiskMounting, DoNotWaitForADriverOnTheWayThatDoesNotAnswer) {
  const auto stalled = plugIn("Stalled");
  setEnvironment("STALLED", ID);
  const auto disk = plugIn("Stalled");
  const std::string goOn = "pkill -CONT -f \"^/.*ntfs-3g .*/dev/$STALLED \"; ";
  const auto stall = [](const std::string& folder) {
    run("pkill -STOP -f \"^/.*ntfs-3g .*/dev/$STALLED \"");
    return eventually([&] { return run("timeout -s KILL 0.2 stat " + folder).ends_with("137\n"); });
  };
  run("mkdir ~/s; mount_ntfs /dev/$STALLED ~/s; mkdir ~/s/f; mount_ntfs /dev/$ID ~/s/f");
  ASSERT_TRUE(stall("~/s/f"));
  expectRefusal("timeout 60 diskutil umount $ID", "a file system that does not answer");
  EXPECT_EQ(run(goOn + "diskutil umount $ID"), says("Stalled", "unmounted"));
  run("diskutil umount $STALLED; diskutil mount $STALLED");
  ASSERT_TRUE(stall("/Volumes/Stalled"));
  EXPECT_EQ(run("timeout -s KILL 60 diskutil list >/dev/null"), "");
  EXPECT_EQ(run("timeout -s KILL 60 diskutil mount $ID"), says("Stalled", "mounted"));
  run(goOn + "diskutil umount $STALLED; diskutil umount $ID");
  expectNothingLeft();
}

}  // namespace
}  // namespace quorvel::test
