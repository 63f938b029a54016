// `mount_ntfs`: root's work for whoever called it, on folders and disks that may be anybody's.
#include <gtest/gtest.h>

#include "Tests/Support/Prompt.hpp"

namespace quorvel::test {
namespace {

using MountNtfs = DiskToolsTest;

#if defined(__SANITIZE_THREAD__)
const std::string kFileLimit;  // With that sanitizer no program would start.
#else
const std::string kFileLimit = " -f 0";
#endif

TEST_F(MountNtfs, MountForWritingForWhoeverCalledSudo) {
  const auto disk = plugIn("Mine");
  const std::string folder = machine->home("tester") / "A B";
  setEnvironment("F", folder);
  run("mkdir ~/m; mount_ntfs /dev/$ID ~/m; mkdir ~/m/.NTFS-3G; diskutil umount $ID "
      "$(echo 12345:12345:S-1-5-21-1-2-3-1000 >~/m/.NTFS-3G/UserMapping)");
  run("$TESTER mkdir \"$F\"; printf '%s\\n' \"p'a\\s\" >~/password");
  EXPECT_EQ(run("$TESTER sudo -S -p '' mount_ntfs -o rw,nobrowse /dev/$ID \"$F\" <~/password"), "");
  EXPECT_EQ(
      run("$TESTER touch '/Volumes/A B/x'; stat -c %U:%G:%a \"$F/x\" \"$F\"; readlink /Volumes/*") +
          disk->mounts(),
      "tester:tester:600\ntester:tester:700\n" + folder + "/.\n" + folder + " rw\n");
  EXPECT_EQ(run("$TESTER diskutil umount $ID; ls -A \"$F\""), says("Mine", "unmounted"));
  run("mount_ntfs -o rw,ro /dev/$ID ~/m");
  EXPECT_EQ(disk->mounts(), in + "/m ro\n");
  EXPECT_EQ(run("diskutil umount $ID"), says("Mine", "unmounted"));
  expectNothingLeft();
}

TEST_F(MountNtfs, RefuseToMountWhereItIsNotSafeAndLeaveNothingBehind) {
  const auto disk = plugIn("Here");
  run("cd; mkdir empty full taken; touch full/file; ln -s empty link; mount -t tmpfs none taken; "
      "install -d -o daemon his");
  expectRefusal("mount_ntfs /dev/${ID%1}2 ~/empty",
                "/dev/" + second + " could not be mounted. It does not hold a valid NTFS");
  run("mkfs.ext4 -q ${PART%1}2; $LOOK");
  for (const auto& [arguments, why] :
       {std::pair{"/dev/$ID ~/full", in + "/full is not empty"},
        {"/dev/$ID ~/his; false", in + "/his is somebody else's"},
        {"/dev/$ID \"$(printf '/\\33[2J\\n')\"", "mount_ntfs: /?[2J: "},
        {"/dev/full ~/empty", "there is no device /dev/full"},
        {"~/full/file ~/empty", "there is no device " + in + "/full/file"},
        {"/dev/$ID ~/link", in + "/link is not a folder"},
        {"/dev/$ID ~/taken", "another volume is mounted on " + in + "/taken"},
        {"/dev/${ID%1}2 ~/empty", "/dev/" + second + " does not hold an NTFS file system"},
        {"/dev/disk999999s1 ~/empty", "there is no device /dev/disk999999s1"}}) {
    expectRefusal(std::string("SUDO_UID=2 mount_ntfs ") + arguments, why);
    expectNothingLeft();
  }
  expectRefusal("mount_ntfs -o rw,loud /dev/$ID ~/empty", "option \"loud\" is not known", 64);
  expectRefusal("chmod 775 /Volumes; diskutil mount $ID", "/Volumes must be a folder that belongs");
  expectRefusal("ln -sf x /run/quorvel-volumes.lock; diskutil mount $ID",
                "volumes.lock cannot be opened");
  run("chmod 755 /Volumes; rm /run/*.lock; umount ~/taken; mount_ntfs /dev/$ID ~/empty");
  expectRefusal("mount_ntfs /dev/$ID ~/taken", "is mounted on " + in + "/empty already");
}

TEST_F(MountNtfs, TakeNothingOverFromTheirCaller) {
  const auto disk = plugIn("Calm");
  setEnvironment("SEEN", in + "/seen");
  run(R"(cat >~/driver <<END
#!/bin/sh
{ nice; cat /proc/self/oom_score_adj; grep -c quorvel-test /proc/self/cgroup
umask; for L in c f n s t Hf; do ulimit -\$L; done; env -u PWD; ls /proc/self/fd
grep SigBlk /proc/\$PPID/status; readlink /proc/\$PPID/fd/[0-2] | cut -c-5; } >$SEEN
kill -HUP \$PPID; exit 1
END
chmod +x ~/driver; mount --bind ~/driver /usr/bin/ntfs-3g)");
  const std::string hostile =
      "env BLKID_DEBUG=all DISPLAY=x bash -c 'umask 0; renice -n 5 $$; "
      "echo 500 >/proc/self/oom_score_adj; ulimit -S -c 9 -n 40 -s 999 -t 9" +
      kFileLimit + "; exec 7</; ";
  for (const std::string& call : {"$TESTER " + hostile + "sudo -n diskutil mount $ID'",
                                  hostile + "mount_ntfs /dev/$ID $HOME/empty'"}) {
    EXPECT_EQ(run("{ G=$(findmnt -nt cgroup2 -o TARGET | head -1); mkdir $G/quorvel-test; "
                  "echo 0 >$G/quorvel-test/cgroup.procs; rm -f $SEEN; mkdir -p ~/empty; } 2>&-; " +
                  call +
                  " <&- >&- 2>&-; cat $SEEN; { echo 0 >$G/cgroup.procs; "
                  "rmdir $G/quorvel-test; } 2>&-; true"),
              "0\n0\n0\n0022\n0\nunlimited\n1024\n8192\nunlimited\nunlimited\n"
              "PATH=/usr/sbin:/usr/bin:/sbin:/bin\n0\n1\n2\n3\nSigBlk:\tfffffffe7ffbfeff\n"
              "/dev/\n/dev/\n/dev/\n");
    expectNothingLeft();
  }
  EXPECT_EQ(run("umount /usr/bin/ntfs-3g; perl -e '$SIG{CHLD} = \"IGNORE\"; exec @ARGV' diskutil "
                "mount $ID"),
            says("Calm", "mounted"));
}

TEST_F(MountNtfs, AreNotLedAstrayByWhoeverExchangesFoldersAndLinks) {
  const auto other = plugIn("Other");
  setEnvironment("OTHER", ID);
  const auto disk = plugIn("Mine");
  setEnvironment("T", machine->home("tester"));
  EXPECT_EQ(run(R"(cd $T; install -d -o daemon his his/f; cp $PART image; chown tester image
$TESTER sh -c 'mkdir mine mine/f; ln -s his link; ln -s $PART node; ln -s image file'
$TESTER perl -e '($a, $b, $c, $d) = qw(mine link node file);
  while (1) { syscall(316, -100, $_->[0], -100, $_->[1], 2) for [$a, $b], [$c, $d] }' &
: >~/mounted; for I in $(seq 2000); do
  if SUDO_UID=$(id -u tester) mount_ntfs $T/node $T/mine/f >/dev/null 2>&1; then
    echo mounted >>~/mounted
    mountpoint his/f || mount_ntfs /dev/$OTHER $T/his/f
    while grep "^/dev/$ID " /proc/mounts; do diskutil umount $ID; done >/dev/null 2>&1
    diskutil umount $OTHER | grep -v '^Volume Other on '
  fi
  findmnt -rno SOURCE,TARGET | grep $T | grep -v "^/dev/$ID "
  test $(wc -l <~/mounted) -lt 5 || break
done | grep -v 'his/f is not a mountpoint'
kill $!; uniq -c ~/mounted)"),
            "      5 mounted\n");
}

TEST_F(MountNtfs, SayWhatIsWrongWithAVolumeAndWhatToDo) {
  const auto disk = plugIn("Ill");
  const std::string guarded =
      run("mkdir ~/I; blockdev --setro $PART; mount_ntfs /dev/$ID ~/I; diskutil umount $ID");
  EXPECT_NE(guarded.find("read-only. The disk is write-protected"), guarded.npos) << guarded;
  run("blockdev --setrw $PART; mount_ntfs /dev/$ID ~/I; printf 'hibr%8192s' >~/I/hiberfil.sys");
  const std::string said = run("diskutil umount $ID >/dev/null; mount_ntfs /dev/$ID ~/I");
  EXPECT_NE(said.find("mounted read-only. Windows is hibernated on it"), said.npos) << said;
  EXPECT_EQ(run("head -c 4 ~/I/hiberfil.sys; touch ~/I/x 2>&1 | grep -o Read"), "hibrRead\n");
  run("diskutil umount $ID; dd if=/dev/zero of=$PART bs=4096 seek=4 count=64 conv=notrunc,fsync");
  expectRefusal("mount_ntfs /dev/$ID ~/I", "could not be mounted. Its file system is damaged");
  expectNothingLeft();
}

}  // namespace
}  // namespace quorvel::test
