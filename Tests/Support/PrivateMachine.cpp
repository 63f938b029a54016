#include "Tests/Support/PrivateMachine.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "Shared/Script.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;

/// What fills the namespace; $1 is the machine's folder, $2 the build's, $3 the fast clock.
constexpr const char* kFurniture = R"(set -e
for F in $1 /Volumes /usr/local/bin /run; do mkdir -p $F; mount -t tmpfs -o mode=755 tmpfs $F; done
mount -t proc -o hidepid=invisible proc /proc  # Else the agent says that others see its commands.
mkdir -p /run/sudo $1/bin $1/disks $1/home/root/Desktop
cp -a /etc $1; mount --bind $1/etc /etc
cp $2/bin/* /usr/local/bin; cp -r $2/QuorvelHelper.app $1; cp $3 $1/fast-clock.so
install -m 440 $2/Tools/sudoers.installed /etc/sudoers.d/quorvel-helper
echo 127.0.1.1 $(uname -n) >>/etc/hosts  # Where it is not there, sudo complains.
useradd -M -G sudo -s /bin/zsh -d $1/home/tester tester
printf '%s\n' "tester:p'a\s" | chpasswd
for U in root tester; do
  printf %s "p'a\s" | HOME=$1/home/$U defaults write com.quorvel.Manager.Shared Quorvel.Mac.PWD.Key -data -
done
chown -R tester $1/home/tester
touch $1/shown
cat >$1/bin/diskutil <<END
#!/bin/sh
[ "\$1" = list ] || exec /usr/local/bin/diskutil "\$@"
/usr/local/bin/diskutil list | grep -E -f $1/shown
END
chmod +x $1/bin/diskutil; echo It is furnished)";

}  // namespace

std::string shell(const std::string& script) {
  const auto [result, error] = Script::run("/bin/sh", std::nullopt, {"-c", script});
  return result + error;
}

void settle() { shell("[ ! -S /run/udev/control ] || udevadm settle"); }

// The folder that all roots of the machine share, as they share its disks.
PrivateMachine::PrivateMachine() : turn_(::open("/dev", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  EXPECT_EQ(::flock(turn_.get(), LOCK_EX), 0);
  // Of the network, too: /proc/net/unix would tell of the sockets of other udevds.
  EXPECT_EQ(::unshare(CLONE_NEWNS | CLONE_NEWNET), 0);
  EXPECT_EQ(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
  std::string pattern = fs::temp_directory_path() / "quorvel-machine-XXXXXX";
  folder_ = ::mkdtemp(pattern.data());
  guardian_.emplace(
      *ChildProcess::start({.path = "/bin/sh",
                            .arguments = {QUORVEL_GUARDIAN, folder_.string()},
                            .directory = "/",
                            .standardInput = life_.fileHandleForReading().fileDescriptor(),
                            .standardOutput = turn_.get()}));
  const auto [result, error] = Script::run(
      "/bin/sh", std::nullopt,
      {"-c", kFurniture, "sh", folder_.string(), QUORVEL_BUILD_FOLDER, QUORVEL_FAST_CLOCK});
  EXPECT_TRUE(result.ends_with("It is furnished\n")) << error;
  if (std::getenv("QUORVEL_UDEVD") != nullptr) {  // NOLINT(concurrency-mt-unsafe): no threads yet.
    startUdevd();
  }
}

void PrivateMachine::startUdevd() {
  if (fs::exists("/run/udev/control")) {
    return;
  }
  // Those folders are all that it makes in /dev for a disk.
  EXPECT_EQ(shell("for F in /dev/disk /dev/block; do mkdir -p $F; mount -t tmpfs -o mode=755 tmpfs "
                  "$F; done; /lib/systemd/systemd-udevd --daemon 2>&1 | grep -v '^Starting '"),
            "");
}

PrivateMachine::~PrivateMachine() {
  life_.fileHandleForWriting().closeFile();
  guardian_->wait();
}

void PrivateMachine::show(const std::string& wholeDisk) const {
  std::ofstream(folder_ / "shown", std::ios::app) << " " << wholeDisk << "(s[0-9]+)?$\n";
  std::ofstream(folder_ / "nodes", std::ios::app) << "/dev/" << wholeDisk << "\n";
}

// Not by sfdisk, which sleeps and then waits until the machine has written all of its files. It has
// its volume before it is attached: an agent would look at an empty disk once and for all.
TestDisk::TestDisk(const PrivateMachine& machine, const std::string& label, int mebibytes)
    : machine_(machine),
      image_(machine.folder() / "disks" / ("disk-" + std::to_string(::random()))) {
  const std::string volume = image_.string() + ".volume";
  const std::string size = std::to_string(mebibytes);
  shell("truncate -s " + size + "M " + volume);
  const auto made =
      Script::run("/sbin/mkntfs", std::nullopt, {"-QF", "-p", "2048", "-L", label, volume});
  EXPECT_NE(made.result.find("successfully"), std::string::npos) << made.result << made.error;
  shell("I=" + image_.string() + " S=" + size + R"(
dd if=$I.volume of=$I bs=64k seek=16 conv=sparse; rm $I.volume; truncate -s $((S + 5))M $I
perl -e 'print pack("x446 x4Cx3VV x4Cx3VV x32n", 7, 2048, '$S' * 2048, 0x83, ('$S' + 1) * 2048,
8192, 0x55AA)' 1<>$I)");
  attach();
}

TestDisk::~TestDisk() { detach(); }

void TestDisk::attach() {
  loop_ = shell("printf %s $(losetup --find --show " + image_.string() + ")");
  shell("test -b " + partition() + " || partx -a " + loop_);
  EXPECT_TRUE(eventually([&] { return fs::is_block_file(partition()); })) << partition();
  settle();
  whole_ = shell("printf disk%s $(cat /sys/block/" + loop_.substr(5) + "/diskseq)");
  machine_.show(whole_);
}

void TestDisk::detach() {
  if (loop_.empty()) {
    return;
  }
  shell("while umount -l /dev/" + ID() + " 2>/dev/null; do :; done");
  const auto isFree = [&] {
    settle();                    // It may be reading the disk.
    shell("partx -d " + loop_);  // Complains of a disk that nothing can be written to any more.
    return !fs::exists(partition()) && shell("losetup -d " + loop_).empty();
  };
  EXPECT_TRUE(eventually(isFree)) << loop_;
  fs::remove("/dev/" + ID());
  loop_.clear();
}

std::string TestDisk::mounts() const {
  return shell("findmnt -rn -o TARGET,OPTIONS -S /dev/" + ID() + " | sed 's/,.*//; s/\\\\x20/ /g'");
}

void MachineTest::SetUp() {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "needs root: it attaches disks and mounts them in a namespace of its own";
  }
  machine.emplace();
  prepare();
}

void MachineTest::systemMounts(const TestDisk& disk) {
  EXPECT_EQ(shell("/usr/local/bin/diskutil mount " + disk.ID()).find("Volume "), 0U);
}

}  // namespace quorvel::test
