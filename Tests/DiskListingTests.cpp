// What `diskutil list` and `diskutil info` show of disks, and how a volume is named to it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <deque>

#include "Helper/DiskInfo.hpp"
#include "Tests/Support/Prompt.hpp"

namespace quorvel::test {
namespace {

using Texts = std::vector<std::string>;
using DiskListing = DiskToolsTest;

const std::string kGptName =
    "printf 'label: gpt\nstart=2048, size=30000, type=EBD0A0A2-B9E5-4433-87C0-68B6B72699C7, "
    "name=\"x\t\u00E4\"\n' | sfdisk -q --no-reread --no-tell-kernel -w always $W; partx -u $W";

/// What disks hold: each is a script that has $W and $PART, a disk and its partition with NTFS.
/// (0xa92b4efc begins a member of a RAID; Debian 13 wants its sum to be right.)
const Texts kContents{
    ":",
    "$ZERO of=$PART count=1",
    "$ZERO of=$PART bs=4096 seek=4 count=64",
    "ntfslabel $PART 'A/:B'; printf 'hibr%8192s' >~/h; ntfscp $PART ~/h hiberfil.sys",
    "mkfs.ext4 -qF -L 'a b' $PART",
    "printf 'LUKS\\272\\276\\0\\1' | dd conv=notrunc of=$PART",
    "perl -e 'print pack(q(L2x136Qx64Lx292),0xa92b4efc,1,8,0xa92b4f05)' | dd bs=4k seek=1 of=$PART",
    "$ZERO of=$W count=1",
    "$ZERO of=$W count=1; mkntfs -QF -L Whole $W",
    kGptName};

Texts info(const std::string& ID) { return parseDiskInfo(run("diskutil info " + ID)); }

TEST_F(DiskListing, PrintWhatTheAgentReadsWhateverAPartitionTableSays) {
  const auto disk = plugIn("My Stick");
  EXPECT_EQ(run("diskutil list | grep $ID"),
            "   1:               Windows_NTFS My Stick                15.7 MB    " + ID + "\n");
  const Texts none{"Not applicable (no file system)", "    Not applicable (no file system)"};
  EXPECT_TRUE(info(whole) == none && info(second) == none);
  for (const auto& [type, shown] :
       {std::pair{"a\\nMounted: Yes\\n\\x5c disk9s9", "a?Mounted? Yes?\\ disk9s9"},
        {"File System Personality: APFS", "File System Personality? APFS"}}) {
    setEnvironment("TYPE", type);  // In an Apple partition map it is a text.
    run("W=${PART%p1}; perl -e 'print pack(\"nnx508 nx2N3 x32a32 x432\", 0x4552, 512, 0x504D, 1, "
        "2048, 30720, \"'\"$TYPE\"'\")' | dd of=$W conv=notrunc,fsync; diskutil list; $LOOK");
    EXPECT_EQ(run("diskutil info $ID | grep -A1 'n Type'"),
              "   Partition Type:            " + std::string(shown) +
                  "\n   File System Personality:   NTFS\n");
    EXPECT_EQ(info(ID), (Texts{"My Stick", "    No", "   NTFS"}));
    EXPECT_EQ(parseDiskList(run("diskutil list | sed -n \"\\|^/dev/${ID%s1} |,/^$/p\"")),
              (Texts{whole, ID, second}));
  }
  run("diskutil mount $ID");
  EXPECT_EQ(info(ID), (Texts{"My Stick", "    Yes", "   NTFS"}));
}

TEST_F(DiskListing, ShowTheSameWhetherUdevdRunsOrNot) {
  setEnvironment("ZERO", "dd if=/dev/zero conv=notrunc");
  std::deque<TestDisk> disks;
  for (const std::string& content : kContents) {
    disks.emplace_back(*machine, "Plain");
    setEnvironment("PART", disks.back().partition());
    run("W=${PART%p1}; " + content);
  }
  const auto rows = [&](const std::string& user = "") {
    std::string texts;
    for (std::size_t i = 0; i < disks.size(); ++i) {
      setEnvironment("ID", disks[i].ID());
      texts += kContents[i] + "\n" +
               run("W=${ID%s1}; A=" + user +
                   "; $A diskutil list | sed -n \"\\|^/dev/$W |,/^$/p\"; "
                   "for D in $W $ID; do $A diskutil info $D; done");
    }
    return texts;
  };
  const std::string bare = rows();
  PrivateMachine::startUdevd();
  run("udevadm trigger --settle --sysname-match='loop*'");
  EXPECT_EQ(rows(), bare);
  EXPECT_EQ(rows("$TESTER"), bare);
  // Its database stays, and soon names the wrong disks.
  run("pkill -KILL --ns $$ --nslist mnt -x 'systemd-udevd|udevadm'");
  disks[0].detach();
  disks[4].detach();
  disks[4].attach();
  disks[0].attach();
  const std::string stale = rows();
  run("rm -r /run/udev");
  EXPECT_EQ(stale, rows());
}

TEST_F(DiskListing, KnowADiskOnlyWhenUdevdHasLookedAtIt) {
  PrivateMachine::startUdevd();
  const auto disk = plugIn("New");
  run("sed -i 's|by-diskseq/.*|by-diskseq/1|' /run/udev/data/b$(stat -c %Hr:%Lr ${PART%p1})");
  EXPECT_EQ(run("diskutil list | grep -w ${ID%s1} || true"), "") << "a predecessor's record";
  for (const std::string tool : {"diskutil info $ID", "diskutil mount $ID", "mount_ntfs $PART ~"}) {
    expectRefusal(tool, "What is on " + ID + " is not known yet");
  }
  run("$LOOK");
  EXPECT_EQ(run("$TESTER diskutil mount New"), says("New", "mounted"));
  EXPECT_EQ(
      run("rm /run/udev/data/b$(stat -c %Hr:%Lr $PART); diskutil list >/dev/null") + disk->mounts(),
      "/Volumes/New ro\n");
}

TEST_F(DiskListing, FindAVolumeByItsMountPointAndByItsNameAlone) {
  const std::string name = "-x it's $(touch x) " + std::to_string(::getpid());  // No other test's.
  const auto disk = plugIn(name);
  setEnvironment("N", name);
  setEnvironment("F", machine->home("tester") / "A B");
  EXPECT_EQ(run("cd ~tester; $TESTER diskutil mount \"$N\""), says(name, "mounted"));
  EXPECT_EQ(run("cd ~tester; $TESTER diskutil umount \"/Volumes/$N/\"; $TESTER mkdir \"$F\"; ls"),
            says(name, "unmounted") + "A B\n");
  run("SUDO_UID=$(id -u tester) mount_ntfs /dev/$ID ~tester/A*; mkdir ~tester/A*/sub");
  EXPECT_EQ(
      run("for A in \"$F\" \"$N\"; do $TESTER diskutil info \"$A\" | grep -c /dev/$ID$; done"),
      "1\n1\n");
  for (const std::string none : {"../x", "it's $(touch x)", "", "-x", "-x it's", "A B", "\x1B[2J",
                                 "disk999999s1", "/Volumes", "/Volumes/A B/sub"}) {
    setEnvironment("A", none);
    const std::string shown = none == "\x1B[2J" ? "?[2J" : none;
    expectRefusal("$TESTER diskutil umount \"$A\"", "disk for " + shown + "\n");
    expectRefusal("diskutil info \"$A\"", "Could not find disk: " + shown + "\n");
  }
  EXPECT_EQ(run("$TESTER diskutil umount '/Volumes/A B'"), says(name, "unmounted"));
  const auto twin = plugIn(name);
  expectRefusal("$TESTER diskutil mount \"$N\"",
                name + ": " + disk->ID() + ", " + ID + ". Use the identifier.");
  expectNothingLeft();
}

TEST_F(DiskListing, ClearAwayWhatAPulledDiskLeft) {
  const auto live = plugIn("Live");
  run("diskutil mount $ID");
  const auto pulled = plugIn("Gone");
  machine->show("disk888888888");  // Its node goes with the test, whatever happens.
  setEnvironment("NODE", "/dev/disk888888888s1");
  run("cd /Volumes; mkdir Gone; ln -s /nowhere/Lost/. Lost; ln -s /none own; "
      "mknod $NODE b $(stat -c '0x%t 0x%T' $PART); ntfs-3g $NODE Gone");
  EXPECT_EQ(run("findmnt -no TARGET -S $NODE; $TESTER diskutil list >/dev/null; ls -A /Volumes; "
                "findmnt -S $NODE || ls /dev | grep disk888888888 || true"),
            "/Volumes/Gone\nLive\nown\n");
  EXPECT_EQ(live->mounts(), "/Volumes/Live ro\n");
}

}  // namespace
}  // namespace quorvel::test
