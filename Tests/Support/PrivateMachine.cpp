#include "Tests/Support/PrivateMachine.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "Shared/Script.hpp"
#include "Tests/Support/ClockSpeed.hpp"
#include "Tests/Support/LogReader.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;

void mountTmpfs(const fs::path& on) {
  fs::create_directories(on);
  ASSERT_EQ(::mount("tmpfs", on.c_str(), "tmpfs", 0, "mode=0755"), 0) << on;
}

std::string trimmed(std::string text) {
  text.erase(text.find_last_not_of(" \n") + 1);
  return text;
}

/// The variables that the agent needs of ours: where the session bus is, and what steers the
/// sanitizers.
std::string inheritedVariables() {
  std::string options;
  for (const auto* name :
       {"DBUS_SESSION_BUS_ADDRESS", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
    if (const char* value = std::getenv(name); value != nullptr) {  // NOLINT(concurrency-mt-unsafe)
      options += std::string(name) + "='" + value + "' ";
    }
  }
  return options;
}

}  // namespace

std::string shell(const std::string& script) {
  const auto [result, error] = Script::run("/bin/sh", std::nullopt, {"-c", script});
  return result + error;
}

void settle() { shell("[ ! -S /run/udev/control ] || udevadm settle"); }

// The folder that all roots of the machine share, as they share its disks.
PrivateMachine::PrivateMachine() : turn_(::open("/dev", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  EXPECT_EQ(::flock(turn_.get(), LOCK_EX), 0);
  enterNamespace();
  install();
  if (std::getenv("QUORVEL_UDEVD") != nullptr) {  // NOLINT(concurrency-mt-unsafe): no threads yet.
    startUdevd();
  }
}

void PrivateMachine::enterNamespace() {
  EXPECT_EQ(::unshare(CLONE_NEWNS), 0);
  EXPECT_EQ(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
  std::string pattern = fs::temp_directory_path() / "quorvel-machine-XXXXXX";
  folder_ = ::mkdtemp(pattern.data());
  guardian_.emplace(
      *ChildProcess::start({.path = "/bin/sh",
                            .arguments = {QUORVEL_GUARDIAN, folder_.string()},
                            .directory = "/",
                            .standardInput = life_.fileHandleForReading().fileDescriptor(),
                            .standardOutput = turn_.get()}));
  for (const fs::path& folder :
       {folder_, fs::path("/Volumes"), fs::path("/usr/local/bin"), fs::path("/run")}) {
    mountTmpfs(folder);
  }
  fs::create_directory("/run/sudo");
  // Else the agent says that others can read its commands.
  EXPECT_EQ(::mount("proc", "/proc", "proc", 0, "hidepid=invisible"), 0);
}

void PrivateMachine::install() const {
  shell("cp -a /etc " + (folder_ / "etc").string());
  EXPECT_EQ(::mount((folder_ / "etc").c_str(), "/etc", nullptr, MS_BIND, nullptr), 0);
  const fs::path build = QUORVEL_BUILD_FOLDER;
  fs::copy(build / "bin", "/usr/local/bin");
  fs::copy(build / "QuorvelHelper.app", folder_ / "QuorvelHelper.app", fs::copy_options::recursive);
  fs::copy(QUORVEL_FAST_CLOCK, folder_ / "fast-clock.so");
  shell("install -m 440 " + (build / "Tools/sudoers.installed").string() +
        " /etc/sudoers.d/quorvel-helper");
  shell("echo 127.0.1.1 $(uname -n) >>/etc/hosts");  // Where it is not there, sudo complains.
  shell("useradd -M -G sudo -s /bin/zsh -d " + home("tester").string() + " tester");
  shell(R"(printf '%s\n' "tester:p'a\s" | chpasswd)");
  fs::create_directories(home("root") / "Desktop");
  shell("install -d -o tester " + home("tester").string());
  writeFile(folder_ / "shown", "");
  writeScript(folder_ / "bin/diskutil", R"(#!/bin/sh
[ "$1" = list ] || exec /usr/local/bin/diskutil "$@"
/usr/local/bin/diskutil list | grep -E -f )" +
                                            (folder_ / "shown").string() + "\n");
}

void PrivateMachine::startUdevd() {
  if (fs::exists("/run/udev/control")) {
    return;
  }
  for (const char* links : {"/dev/disk", "/dev/block"}) {  // All that it makes in /dev for a disk.
    mountTmpfs(links);
  }
  EXPECT_EQ(shell("/lib/systemd/systemd-udevd --daemon 2>&1 | grep -v '^Starting '"), "");
}

void PrivateMachine::killUdevd() {
  shell("pkill -KILL --ns $$ --nslist mnt -x 'systemd-udevd|udevadm'");
}

PrivateMachine::~PrivateMachine() {
  life_.fileHandleForWriting().closeFile();
  guardian_->wait();
}

void PrivateMachine::show(const std::string& wholeDisk) const {
  std::ofstream(folder_ / "shown", std::ios::app) << " " << wholeDisk << "(s[0-9]+)?$\n";
  std::ofstream(folder_ / "nodes", std::ios::app) << "/dev/" << wholeDisk << "\n";
}

fs::path PrivateMachine::home(std::string_view user) const { return folder_ / "home" / user; }

std::string PrivateMachine::searchPath() const {
  return (folder_ / "bin").string() + ":/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin";
}

// Not by sfdisk, which sleeps and then waits until the machine has written all of its files.
TestDisk::TestDisk(const PrivateMachine& machine, const std::string& label, const fs::path& folder,
                   bool hasSecond)
    : machine_(machine),
      image_(machine.folder() / folder / ("disk-" + std::to_string(::random()))) {
  const std::string second = hasSecond ? "0x83, 32768, 8192" : "0, 0, 0";
  shell("perl -e 'print pack(q(x446 x4Cx3VV x4Cx3VV x32n), 7, 2048, 30720, " + second +
        ", 0x55AA)' >" + image_.string() + "; truncate -s " + (hasSecond ? "20M " : "16M ") +
        image_.string());
  plugIn();
  const auto made =
      Script::run("/sbin/mkntfs", std::nullopt, {"-Q", "-F", "-L", label, partition()});
  EXPECT_NE(made.result.find("successfully"), std::string::npos) << made.result << made.error;
  settle();
  machine_.show(whole_);
}

TestDisk::~TestDisk() { detach(); }

void TestDisk::attach() {
  plugIn();
  machine_.show(whole_);
}

void TestDisk::plugIn() {
  loop_ = trimmed(shell("losetup --find --show " + image_.string()));
  shell("test -b " + partition() + " || partx -a " + loop_);
  EXPECT_TRUE(eventually([&] { return fs::is_block_file(partition()); })) << partition();
  settle();
  whole_ =
      "disk" + trimmed(shell("cat /sys/block/" + fs::path(loop_).filename().string() + "/diskseq"));
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

Agent::Agent(const PrivateMachine& machine, const std::string& user, const std::string& output)
    : home_(machine.home(user)), pidFile_(home_ / "pid") {
  const std::string program = machine.folder() / "QuorvelHelper.app/Contents/MacOS/QuorvelHelper";
  const std::string command =
      "echo $$ >" + pidFile_ + "; exec env -i HOME=" + home_.string() +
      " XDG_RUNTIME_DIR=" + home_.string() + " PATH=" + machine.searchPath() + " LC_ALL=C.UTF-8 " +
      inheritedVariables() + fastClock(kUsualSpeed, machine.folder() / "fast-clock.so") + program +
      " 2>" + (home_ / "stderr").string() + " " +
      (output.empty() ? ">" + (home_ / "stdout").string() : output);
  const ChildRequest request{.path = "/usr/bin/setpriv",
                             .arguments = {"--reuid=" + user, "--regid=" + user, "--init-groups",
                                           "/bin/sh", "-c", command},
                             .directory = home_};
  fs::remove(home_ / "Quorvel_Helper.txt");  // A predecessor's.
  fs::remove(pidFile_);
  if (auto child = ChildProcess::start(request)) {
    process_.emplace(std::move(*child));
  }
  EXPECT_TRUE(eventually([&] { return readFile(pidFile_).ends_with('\n'); }));
}

Agent::~Agent() {
  if (process_) {
    end(SIGKILL);
  }
}

bool Agent::logs(const std::vector<std::string>& items) const {
  std::string expected;
  for (const std::string& item : items) {
    expected += item + "\n";
  }
  return eventually([&] { return log().find(expected) != std::string::npos; });
}

std::string Agent::log() const { return readFile(home_ / "Quorvel_Helper.txt"); }

int Agent::end(int signal) {
  ::kill(std::stoi(readFile(pidFile_)), signal);
  return wait();
}

int Agent::wait() {
  const int status = process_->wait();
  process_.reset();
  EXPECT_EQ(readFile(home_ / "stderr"), "");
  return status;
}

}  // namespace quorvel::test
