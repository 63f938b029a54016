// The command-line tools at a prompt: what they print, what they change, and what they refuse.
#include <gtest/gtest.h>
#include <unistd.h>

#include <deque>
#include <sstream>

#include "Helper/DiskInfo.hpp"
#include "Shared/Script.hpp"
#include "Shared/SharedData.hpp"
#include "Tests/Support/ClockSpeed.hpp"
#include "Tests/Support/PrivateMachine.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

/// What disks hold: each is a script that has $W and $PART, a disk and its partition with NTFS.
/// (0xa92b4efc begins a member of a RAID; Debian 13 wants its sum to be right.)
const Texts kContents{
    ":",
    "$ZERO of=$PART count=1",
    "$ZERO of=$PART bs=4096 seek=4 count=64",
    "ntfslabel $PART 'A/:B'; printf 'hibr%8192s' >~/h; ntfscp $PART ~/h hiberfil.sys",
    "mkfs.ext4 -qF -L 'a b' $PART",
    "mkfs.exfat -L EX $PART",
    "mkswap -L S $PART",
    "printf 'LUKS\\272\\276\\0\\1' | dd conv=notrunc of=$PART",
    "perl -e 'print pack(q(L2x136Qx64Lx292),0xa92b4efc,1,8,0xa92b4f05)' | dd bs=4k seek=1 of=$PART",
    "$ZERO of=$W count=1",
    "$ZERO of=$W count=1; mkfs.ext4 -qF -L 'a b' $W",
    "$ZERO of=$W count=1; mkntfs -QF -L Whole $W",
    "printf 'label: gpt\nstart=2048, size=30000, type=EBD0A0A2-B9E5-4433-87C0-68B6B72699C7, "
    "name=\"x\t\u00E4\"\n' | sfdisk -q --no-reread --no-tell-kernel -w always $W; partx -u $W",
    "perl -e 'print pack(qq(nnx508 nx2N3 x32a32 x432), 0x4552, 512, 0x504D, 1, 2048, 30720, "
    "qq(a\nMounted: Yes\\\x5c))' | dd of=$W conv=notrunc"};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const std::string kTightLimits;  // With a sanitizer no program would start.
#else
const std::string kTightLimits = " -d 99999 -f 0 -v 999999";
#endif

/// What a command printed; where it complained or failed, also "error: ", its words and its status.
std::string run(const std::string& command) {
  settle();  // A person does not type as fast.
  const std::string script = "(" + command + "\n) || echo \"= $?\" >&2";
  const auto [result, error] = Script::run("/bin/sh", std::nullopt, {"-c", script});
  return result + (error.empty() ? "" : "error: " + error);
}

/// The command says why on standard error, prints nothing, and fails.
void expectRefusal(const std::string& command, const std::string& why, int status = 1) {
  const std::string said = run(command);
  EXPECT_TRUE(said.starts_with("error: ") && said.find(why) != std::string::npos &&
              said.ends_with("\n= " + std::to_string(status) + "\n"))
      << command + "\n" + said;
}

/// Commands have $D, the domain of the agent's settings.
struct Prompt {
  Prompt() {
    setEnvironment("HOME", home.path());
    setEnvironment("XDG_CONFIG_HOME", "");
    setEnvironment("LC_ALL", "C.UTF-8");
    setEnvironment("PATH", QUORVEL_BUILD_FOLDER "/bin:/usr/sbin:/usr/bin:/sbin:/bin");
    setEnvironment("D", "com.quorvel.Manager.Shared");
  }
  TemporaryFolder home;
  const std::string in = home.path();
  const std::string settings = in + "/.config/com.quorvel.Manager.Shared.plist";
  const std::string setStyle = "defaults write $D Quorvel.Manager.Style.Key -bool yes";
};

class ToolsTest : public testing::Test, protected Prompt {};

TEST_F(ToolsTest, ExplainThemselvesWhenAskedAndWhenMisused) {
  for (const std::string tool : {"diskutil", "mount_ntfs", "open", "defaults"}) {
    const std::string help = run(tool + " --help");
    EXPECT_TRUE(help.starts_with("Usage: " + tool) && help.find("error: ") == help.npos) << help;
    expectRefusal(tool, "Usage: " + tool, 64);
  }
  for (const std::string misuse :
       {"diskutil list disk1", "diskutil info", "diskutil info disk1 --help", "diskutil eject",
        "mount_ntfs -o", "mount_ntfs /dev/disk1s1", "mount_ntfs -x /dev/disk1s1 /", "open ''",
        "defaults read", "defaults delete", "defaults rename D K", "defaults write D K",
        "defaults write D K -int 5", "defaults write D K -bool maybe",
        "defaults write D K -data 616", "defaults write D K $(printf '\\377')"}) {
    expectRefusal(misuse, "\nUsage: ", 64);
  }
}

TEST_F(ToolsTest, OpenStartsTheFileManagerAndDoesNotWaitForIt) {
  writeScript(home / "xdg-open",  // Tells its argument and whether it leads a session.
              "#!/bin/sh\necho \"$* $(($(cut -d' ' -f6 /proc/$$/stat) - $$))\" >~/opened\n"
              "read -r _ <~/end && echo >~/ended\n");
  run("mkfifo ~/end; mkdir ~/-folder");
  EXPECT_EQ(run("cd; PATH=$HOME:$PATH DISPLAY=:0 timeout 60 open -folder"), "");
  EXPECT_TRUE(eventually([&] { return readFile(home / "opened") == in + "/-folder 0\n"; }));
  run("echo >~/end");
  EXPECT_TRUE(eventually([&] { return fs::exists(home / "ended"); }));
  expectRefusal("DISPLAY=:0 open ~/none", "The file " + in + "/none does not exist");
  expectRefusal("O=$(command -v open); PATH=/nowhere DISPLAY=:0 $O ~", "xdg-open: No such file");
  expectRefusal("DISPLAY= WAYLAND_DISPLAY= open ~", "there is no graphical session");
}

TEST_F(ToolsTest, DefaultsKeepsEveryKindOfValueForTheAgentAndForItself) {
  const std::string password = "p\u00E4\"s's\\w\u6F22 $HOME\n";
  writeFile(home / "password", password + "\n");
  EXPECT_EQ(run("umask 0; mkdir ~/.config; echo '<plist><dict/></plist>' >~/.config/$D.plist; "
                "defaults write $D Quorvel.Mac.PWD.Key -data - <~/password; " +
                setStyle),
            "");
  EXPECT_TRUE(SharedData::shared().managerStyle());
  EXPECT_EQ(fs::status(settings).permissions(), fs::perms(0600));
  EXPECT_EQ(run("for V in '-bool false' '-bool YES' plain '-data 00aBff'; do "
                "defaults write $D 'A K' $V; defaults read $D 'A K'; done; "
                "defaults write $D 'A K' -string '<&> \"\u00E4\\'; defaults read $D 'A K'; "
                "defaults delete $D 'A K'"),
            "0\n1\nplain\n{length = 3, bytes = 0x00abff}\n<&> \"\u00E4\\\n");
  expectRefusal("defaults read $D 'A K'", "Shared, A K) does not exist");
  EXPECT_EQ(SharedData::shared().pwd(), password) << "the other keys stay";
  EXPECT_EQ(run("for K in Quorvel.Mac.PWD.Key Quorvel.Manager.Style.Key; do defaults delete $D $K; "
                "done; ls -A ~/.config; umask 0; XDG_CONFIG_HOME=~/a/b " +
                setStyle + "; stat -c %a ~/a ~/a/b ~/a/b/*"),
            "700\n700\n600\n")
      << "the last key takes the file with it";
}

TEST_F(ToolsTest, DefaultsTakesBinarySettingsAndLosesNothingThatItCannotRead) {
  run("mkdir ~/.config; printf 'bplist00\\321\\1\\2_\\20\\31Quorvel.Manager.Style.Key\\20*"
      "\\10\\13\\47@@@@@@\\1\\1@@@@@@@\\3@@@@@@@@@@@@@@@\\51' | tr @ '\\0' >~/.config/$D.plist");
  EXPECT_TRUE(SharedData::shared().managerStyle()) << "42";
  EXPECT_EQ(run("defaults write $D Other plain; defaults read $D Quorvel.Manager.Style.Key; "
                "defaults read $D | tr -d '\\n\\t' | grep -o '<dict>.*</dict>'"),
            "42\n<dict><key>Quorvel.Manager.Style.Key</key><integer>42</integer>"
            "<key>Other</key><string>plain</string></dict>\n");
  for (const std::string content : {"", "<plist><array/></plist>", "bplist00\xFF\xFF", "garbage"}) {
    writeFile(settings, content);
    expectRefusal(setStyle, settings + " is not a property list");
    EXPECT_EQ(readFile(settings), content);
  }
  run("mv ~/.config/*.plist ~/target; ln -s ~/target ~/.config/$D.plist");
  expectRefusal(setStyle, settings + " is a symbolic link");
  EXPECT_EQ(readFile(home / "target"), "garbage");
  for (const std::string domain : {"../target", "/tmp/target", "..", "''"}) {
    expectRefusal("defaults write " + domain + " Key text", "cannot be a domain");
  }
}

/// Commands have $ID and $PART, a disk's NTFS partition, and $TESTER, which makes them his.
class DiskToolsTest : protected Prompt, public MachineTest {
 protected:
  void prepare() override {
    setEnvironment("PATH", "/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin");
    setEnvironment("TESTER", "setpriv --reuid=tester --regid=tester --init-groups");
  }
  std::unique_ptr<TestDisk> plugIn(const std::string& label) {
    auto disk = std::make_unique<TestDisk>(*machine, label, "", true);
    setEnvironment("PART", disk->partition());
    setEnvironment("ID", ID = disk->ID());
    second = (whole = ID.substr(0, ID.size() - 2)) + "s2";
    return disk;
  }
  /// Lets udevd, if it runs, look at the disk again: nobody tells it of what is written there.
  static void look() {
    run("[ ! -S /run/udev/control ] || udevadm trigger -w /dev/$(basename ${PART%p1})*");
  }
  [[nodiscard]] std::string says(const std::string& name, const std::string& what) const {
    return "Volume " + name + " on " + ID + " " + what + "\n";
  }
  static Texts info(const std::string& ID) { return parseDiskInfo(run("diskutil info " + ID)); }
  static void expectNothingLeft() {
    EXPECT_EQ(run("ls -A /Volumes; ls /dev | grep -w ${ID%1}.; findmnt -S /dev/$ID; true"), "");
  }
  std::string ID, whole, second;
};

TEST_F(DiskToolsTest, PrintWhatTheAgentReads) {
  const auto disk = plugIn("My Stick");
  EXPECT_EQ(run("diskutil list | grep $ID"),
            "   1:               Windows_NTFS My Stick                15.7 MB    " + ID + "\n");
  EXPECT_EQ(info(ID), (Texts{"My Stick", "    No", "   NTFS"}));
  EXPECT_EQ(run("diskutil mount $ID"), says("My Stick", "mounted"));
  EXPECT_EQ(info(ID), (Texts{"My Stick", "    Yes", "   NTFS"}));
  const Texts none{"Not applicable (no file system)", "    Not applicable (no file system)"};
  EXPECT_TRUE(info(whole) == none && info(second) == none);
  expectRefusal("diskutil info disk999999s1", "Could not find disk: disk999999s1");
}

TEST_F(DiskToolsTest, AreNotFooledByAPartitionTable) {
  const auto disk = plugIn("Calm");
  for (const auto& [type, shown] :
       {std::pair{"a\\nMounted: Yes\\nx disk9s9", "a?Mounted? Yes?x disk9s9"},
        {"File System Personality: APFS", "File System Personality? APFS"},
        {"\\e[2J\\tb\\tc", "?[2J?b?c"}}) {
    setEnvironment("TYPE", type);  // In an Apple partition map it is a text.
    run("W=${PART%p1}; perl -e 'print pack(\"nnx508 nx2N3 x32a32 x432\", 0x4552, 512, 0x504D, 1, "
        "2048, 30720, \"'\"$TYPE\"'\")' | dd of=$W conv=notrunc,fsync; diskutil list");
    look();
    EXPECT_EQ(run("diskutil info $ID | grep -A1 'n Type'"),
              "   Partition Type:            " + std::string(shown) +
                  "\n   File System Personality:   NTFS\n");
    EXPECT_EQ(info(ID), (Texts{"Calm", "    No", "   NTFS"}));
    EXPECT_EQ(parseDiskList(run("diskutil list | sed -n \"\\|^/dev/${ID%s1} |,/^$/p\"")),
              (Texts{whole, ID, second}));
  }
}

TEST_F(DiskToolsTest, ShowTheSameWhetherUdevdRunsOrNot) {
  setEnvironment("ZERO", "dd if=/dev/zero conv=notrunc");
  std::deque<TestDisk> disks;
  for (const std::string& content : kContents) {
    disks.emplace_back(*machine, "Plain");
    setEnvironment("PART", disks.back().partition());
    run("W=${PART%p1}; " + content);
  }
  const auto rows = [&](const std::string& user = "") {
    Texts texts;
    for (const TestDisk& disk : disks) {
      setEnvironment("ID", disk.ID());
      texts.push_back(run("W=${ID%s1}; " + user +
                          " diskutil list | sed -n \"\\|^/dev/$W |,/^$/p\"; " + user +
                          " diskutil info $W; " + user + " diskutil info $ID"));
    }
    return texts;
  };
  const auto expectSame = [](const Texts& withUdevd, const Texts& bare) {
    for (std::size_t i = 0; i < bare.size(); ++i) {
      EXPECT_EQ(withUdevd[i], bare[i]) << kContents[i];
    }
  };
  const Texts bare = rows();
  PrivateMachine::startUdevd();
  run("udevadm trigger --settle --sysname-match='loop*'");
  expectSame(rows(), bare);
  expectSame(rows("$TESTER"), bare);
  PrivateMachine::killUdevd();  // Its database stays, and soon names the wrong disks.
  for (const std::size_t pulled : {0UL, 4UL}) {
    disks[pulled].detach();
  }
  for (const std::size_t next : {4UL, 0UL}) {
    disks[next].attach();
  }
  const Texts stale = rows();
  run("rm -r /run/udev");
  expectSame(stale, rows());
}

TEST_F(DiskToolsTest, KnowADiskOnlyWhenUdevdHasLookedAtIt) {
  PrivateMachine::startUdevd();
  const auto disk = plugIn("New");
  run("sed -i 's|by-diskseq/.*|by-diskseq/1|' /run/udev/data/b$(stat -c %Hr:%Lr ${PART%p1})");
  EXPECT_EQ(run("diskutil list | grep -w ${ID%s1} || true"), "") << "a predecessor's record";
  for (const std::string tool : {"diskutil info $ID", "diskutil mount $ID", "mount_ntfs $PART ~"}) {
    expectRefusal(tool, "What is on " + ID + " is not known yet");
  }
  look();
  EXPECT_EQ(run("$TESTER diskutil mount New"), says("New", "mounted"));
  EXPECT_EQ(
      run("rm /run/udev/data/b$(stat -c %Hr:%Lr $PART); diskutil list >/dev/null") + disk->mounts(),
      "/Volumes/New ro\n");
}

TEST_F(DiskToolsTest, MountWhatIsPluggedInOnceThatIsTurnedOn) {
  PrivateMachine::startUdevd();
  const auto disk = plugIn("Stick");
  const auto wanted = [&] {
    disk->detach();
    disk->attach();
    setEnvironment("PART", disk->partition());
    setEnvironment("ID", ID = disk->ID());
    return run("udevadm info -q property $PART | grep ^SYSTEMD_WANTS= || true");
  };
  EXPECT_EQ(wanted(), "");
  EXPECT_EQ(run("quorvel-helper automount on"), "");
  EXPECT_EQ(wanted(), "SYSTEMD_WANTS=quorvel-mount@" + disk->partition().substr(5) + ".service\n");
  // As systemd starts the unit.
  const std::string start = "sed -n \"s|%i|${PART#/dev/}|; s/^Exec[^=]*=//p\" " QUORVEL_BUILD_FOLDER
                            "/Tools/quorvel-helper/quorvel-mount@.service | sh -e";
  EXPECT_EQ(run(start), says("Stick", "mounted"));
  EXPECT_EQ(disk->mounts(), "/Volumes/Stick ro\n");
  EXPECT_EQ(run("diskutil umount $ID >/dev/null; echo LABEL=Stick /mnt ntfs ro 0 0 >>/etc/fstab; " +
                start + "; diskutil info $ID | grep Mounted:; quorvel-helper automount off"),
            "   Mounted:                   No\n");
  EXPECT_EQ(wanted(), "");
}

TEST_F(DiskToolsTest, MountAndUnmountForAnOrdinaryUserAndLetHimDoNothingElse) {
  const auto disk = plugIn("Free");
  run("mkfs.ext4 -q ${PART%1}2; mkdir ~/linux");
  expectRefusal("$TESTER diskutil mount ${ID%1}2; mount ${PART%1}2 ~/linux; false", "of type ext4");
  expectRefusal("$TESTER diskutil umount ${ID%1}2", "It is not an NTFS volume");
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
  ASSERT_TRUE(eventually([&] { return readFile("/proc/" + PID + "/comm") == "sleep\n"; }));
  const std::string holder = PID + " (" + fs::read_symlink("/proc/" + PID + "/exe").string() + ")";
  expectRefusal("$TESTER diskutil umount $ID", "dissented by PID " + holder);
  EXPECT_EQ(disk->mounts(), "/Volumes/Free ro\n");
  run("(sleep 0.5; kill " + PID + ") >/dev/null 2>&1 &");  // As a thumbnailer soon lets go.
  EXPECT_EQ(run("$TESTER diskutil umount $ID"), says("Free", "unmounted"));
  EXPECT_EQ(run("$TESTER diskutil umount $ID"), ID + " was already unmounted\n");
  expectNothingLeft();
}

TEST_F(DiskToolsTest, LetOthersUnmountByTheKernelsNameAndUseTheFolderAgain) {
  const auto disk = plugIn("Free");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(run("diskutil mount $ID; df -h | grep -o ^/dev/$ID; umount $PART; ls -A /Volumes"),
              says("Free", "mounted") + "/dev/" + ID + "\nFree\n");
  }
  run("touch /Volumes/Free/x; diskutil mount $ID");
  EXPECT_EQ(disk->mounts(), "/Volumes/Free 1 ro\n") << "the folder is not empty";
}

TEST_F(DiskToolsTest, LeaveToOthersWhatIsTheirs) {
  const auto disk = plugIn("Theirs");
  setEnvironment("IMAGE", run("losetup -nO BACK-FILE ${PART%p1}"));
  run("useradd -M other; mkdir -p ~/windows /media/other/Theirs; chown other $IMAGE; "
      "diskutil mount $ID");
  expectRefusal("$TESTER diskutil umount $ID", "not known to be yours or root's");
  expectRefusal("SUDO_UID=$(id -u tester) mount_ntfs /dev/$ID ~/windows", "is mounted on");
  run("diskutil umount $ID");
  expectRefusal("SUDO_UID=$(id -u tester) mount_ntfs /dev/$ID ~/windows", "not known to be yours");
  run("chown root $IMAGE; chmod o+w $IMAGE");
  expectRefusal("SUDO_UID=$(id -u tester) mount_ntfs /dev/$ID ~/windows", "not known to be yours");
  run("chmod o-w $IMAGE; SUDO_UID=$(id -u other) mount_ntfs /dev/$ID ~/windows");
  expectRefusal("$TESTER diskutil umount $ID", "It was mounted for other");
  run("umount $PART; mount --bind /media/other /media/other; ntfs-3g $PART /media/other/Theirs");
  expectRefusal("$TESTER diskutil umount $ID", "It was mounted for other");
  run("umount $PART; ntfs-3g $PART ~/windows; chown tester $IMAGE");
  for (const std::string row : {"/dev/none $HOME/windows", "LABEL=Theirs /none", "$PART /none"}) {
    run("echo \"" + row + " ntfs defaults 0 0\" >/etc/fstab");
    expectRefusal("$TESTER diskutil umount $ID", "the administrator's will");
  }
  EXPECT_EQ(run("echo >/etc/fstab; $TESTER diskutil umount $ID"), says("Theirs", "unmounted"));
  run("rm -r /media/other");
}

TEST_F(DiskToolsTest, WaitForOneAnotherOnTheSameVolumeOnlyAndNotForEver) {
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

TEST_F(DiskToolsTest, DoNotWaitForADriverOnTheWayThatDoesNotAnswer) {
  const auto stalled = plugIn("Stalled");
  setEnvironment("STALLED", ID);
  const auto disk = plugIn("Deep");
  run("mkdir ~/s; mount_ntfs /dev/$STALLED ~/s; mkdir ~/s/f; mount_ntfs /dev/$ID ~/s/f; "
      "pkill -STOP -f \"^/.*ntfs-3g .*/dev/$STALLED \"");
  ASSERT_TRUE(eventually([] { return run("timeout -s KILL 0.2 stat ~/s/f").ends_with("137\n"); }));
  expectRefusal("timeout 60 diskutil umount $ID", "a file system that does not answer");
  run("pkill -CONT -f \"^/.*ntfs-3g .*/dev/$STALLED \"");
  EXPECT_EQ(run("diskutil umount $ID"), says("Deep", "unmounted"));
  EXPECT_EQ(run("diskutil umount $STALLED >/dev/null"), "");
}

TEST_F(DiskToolsTest, KeepVolumesOfTheSameNameApart) {
  const auto first = plugIn("Twin");
  run("diskutil mount $ID");
  EXPECT_EQ(first->mounts(), "/Volumes/Twin ro\n");
  const auto other = plugIn("Twin");
  run("diskutil mount $ID");
  EXPECT_EQ(run("diskutil mount $ID"), says("Twin", "mounted")) << "where it is mounted already";
  EXPECT_EQ(run("diskutil unmount >/dev/null " + first->ID()), "");
  EXPECT_EQ(other->mounts(), "/Volumes/Twin 1 ro\n");
}

TEST_F(DiskToolsTest, FindAVolumeByItsMountPointAndByItsNameAlone) {
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
  expectRefusal("diskutil mount \"$N\"", ". Use the identifier.");
  expectNothingLeft();
}

TEST_F(DiskToolsTest, ClearAwayWhatAPulledDiskLeft) {
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

TEST_F(DiskToolsTest, MountForWritingForWhoeverCalledSudo) {
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
  expectNothingLeft();
}

TEST_F(DiskToolsTest, RefuseToMountWhereItIsNotSafeAndLeaveNothingBehind) {
  const auto disk = plugIn("Here");
  run("cd; mkdir empty full taken; touch full/file; ln -s empty link; mount -t tmpfs none taken; "
      "install -d -o daemon his");
  expectRefusal("mount_ntfs /dev/${ID%1}2 ~/empty", "/dev/" + second + " could not be mounted");
  run("mkfs.ext4 -q ${PART%1}2");
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
  run("chmod 755 /Volumes; umount ~/taken; mount_ntfs /dev/$ID ~/empty");
  expectRefusal("mount_ntfs /dev/$ID ~/taken", "is mounted on " + in + "/empty already");
}

TEST_F(DiskToolsTest, TakeNothingOverFromTheirCaller) {
  const auto disk = plugIn("Calm");
  setEnvironment("SEEN", in + "/seen");
  run(R"(cat >~/driver <<END
#!/bin/sh
{ nice; cat /proc/self/oom_score_adj; grep -c quorvel-test /proc/self/cgroup
umask; for L in c d f n s t v Hf; do ulimit -\$L; done; env -u PWD; ls /proc/self/fd
grep SigBlk /proc/\$PPID/status; readlink /proc/\$PPID/fd/[0-2] | cut -c-5; } >$SEEN
kill -HUP \$PPID; exit 1
END
chmod +x ~/driver; mount --bind ~/driver /usr/bin/ntfs-3g)");
  const std::string hostile =
      "env BLKID_DEBUG=all DISPLAY=x bash -c '"
      "umask 0; renice -n 5 $$; echo 500 >/proc/self/oom_score_adj; ulimit -S -c 9 -n 40 -s 999 -t "
      "9" +
      kTightLimits + "; exec 7</; ";
  for (const std::string& call : Texts{"$TESTER " + hostile + "sudo -n diskutil mount $ID'",
                                       hostile + "mount_ntfs /dev/$ID $HOME/empty'"}) {
    EXPECT_EQ(
        run("{ G=$(findmnt -nt cgroup2 -o TARGET | head -1); mkdir $G/quorvel-test; "
            "echo 0 >$G/quorvel-test/cgroup.procs; rm -f $SEEN; mkdir -p ~/empty; } 2>&-; " +
            call +
            " <&- >&- 2>&-; cat $SEEN; { echo 0 >$G/cgroup.procs; "
            "rmdir $G/quorvel-test; } 2>&-; true"),
        "0\n0\n0\n0022\n0\nunlimited\nunlimited\n1024\n8192\nunlimited\nunlimited\nunlimited\n"
        "PATH=/usr/sbin:/usr/bin:/sbin:/bin\n0\n1\n2\n3\nSigBlk:\tfffffffe7ffbfeff\n"
        "/dev/\n/dev/\n/dev/\n");
    expectNothingLeft();
  }
  EXPECT_EQ(run("umount /usr/bin/ntfs-3g; perl -e '$SIG{CHLD} = \"IGNORE\"; exec @ARGV' diskutil "
                "mount $ID"),
            says("Calm", "mounted"));
}

TEST_F(DiskToolsTest, AreNotLedAstrayByWhoeverExchangesFoldersAndLinks) {
  const auto other = plugIn("Other");
  setEnvironment("OTHER", ID);
  const auto disk = plugIn("Mine");
  setEnvironment("T", machine->home("tester"));
  EXPECT_EQ(run(R"(cd $T; install -d -o daemon his his/f; cp $PART image; chown tester image
$TESTER sh -c 'mkdir mine mine/f; ln -s his link; ln -s $PART node; ln -s image file'
$TESTER perl -e '($a, $b, $c, $d) = qw(mine link node file);
  while (1) { syscall(316, -100, $_->[0], -100, $_->[1], 2) for [$a, $b], [$c, $d] }' &
for I in $(seq 30); do
  if SUDO_UID=$(id -u tester) mount_ntfs $T/node $T/mine/f >/dev/null 2>&1; then
    echo >>~/mounted
    mountpoint his/f || mount_ntfs /dev/$OTHER $T/his/f
    for J in 1 2 3 4 5; do diskutil umount $ID; done >/dev/null 2>&1
    diskutil umount $OTHER | grep -v '^Volume Other on '
  fi
  findmnt -rno SOURCE,TARGET | grep $T | grep -v "^/dev/$ID "
done | grep -v 'his/f is not a mountpoint'
kill $!; test -s ~/mounted)"),
            "");
}

TEST_F(DiskToolsTest, SayWhatIsWrongWithAVolumeAndWhatToDo) {
  const auto disk = plugIn("Ill");
  run("mkdir ~/I; mount_ntfs /dev/$ID ~/I; printf 'hibr%8192s' >~/I/hiberfil.sys");
  std::string said = run("diskutil umount $ID >/dev/null; mount_ntfs /dev/$ID ~/I");
  EXPECT_NE(said.find("mounted read-only. Windows is hibernated on it"), said.npos) << said;
  EXPECT_EQ(run("head -c 4 ~/I/hiberfil.sys; touch ~/I/x 2>&1 | grep -o Read"), "hibrRead\n");
  writeFile(home / "log",
            "RSTR\36.\11..........\20...\20..0.\1.\1...........................\1.\377\377....B"
            "...\320.0.\1...........0.@.........................\377\377\377\377");
  run("diskutil umount $ID; mkntfs -QF $PART; cd; ntfscat -fi 2 $PART >a; "
      "{ tr . '\\0' <log; head -c 3980 /dev/zero; tail -c +4097 a; } >b; ntfscp -i $PART b 2");
  said = run("mount_ntfs /dev/$ID ~/I");
  EXPECT_NE(said.find(ID + " is mounted. It was not unmounted cleanly."), said.npos) << said;
  run("diskutil umount $ID; dd if=/dev/zero of=$PART bs=4096 seek=4 count=64 conv=notrunc,fsync");
  expectRefusal("mount_ntfs /dev/$ID ~/I", "could not be mounted. Its file system is damaged");
  expectNothingLeft();
}

}  // namespace
}  // namespace quorvel::test
