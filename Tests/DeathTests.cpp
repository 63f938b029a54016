// The agent, the disk, the driver and the home folder taken away at any moment: what was saved on
// the volume stays saved, and the next agent serves it again.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <csignal>
#include <deque>
#include <random>
#include <thread>

#include "Tests/Support/LogReader.hpp"
#include "Tests/Support/PrivateMachine.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/Trial.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

std::chrono::milliseconds upTo(std::chrono::milliseconds longest) {
  static std::random_device random;
  return std::chrono::milliseconds(std::uniform_int_distribution<long>(0, longest.count())(random));
}

/// Saves files on a volume all the time, whenever it is mounted in its place, and knows which ones
/// were synced. The latest hundred are kept.
class Writer {
 public:
  explicit Writer(fs::path place)
      : place_(std::move(place)), thread_([this](const std::stop_token& stop) {
          for (; !stop.stop_requested(); std::this_thread::sleep_for(20ms)) {
            saveOne();
          }
        }) {}

  /// It writes nothing, and holds nothing open, as long as the lock lives.
  [[nodiscard]] std::unique_lock<std::mutex> pause() { return std::unique_lock(mutex_); }
  [[nodiscard]] std::size_t count() const { return count_; }

  /// The saved files that are not there as they were saved, when the volume is mounted there.
  std::string lost(const fs::path& there) {
    const std::lock_guard lock(mutex_);
    std::string names;
    for (const std::string& name : saved_) {
      names += readFile(there / name) == contentOf(name) ? "" : name + " ";
    }
    return names;
  }

 private:
  static std::string contentOf(const std::string& name) {
    std::string content;
    for (std::size_t i = 0; i < 500 + std::stoul(name) % 97 * 80; ++i) {
      content += name + "\n";
    }
    return content;
  }

  void saveOne() {
    constexpr auto kFuse = 0x65735546;
    const std::lock_guard lock(mutex_);
    const UniqueFd folder(::open(place_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct statfs system {};
    if (::fstatfs(folder.get(), &system) != 0 || system.f_type != kFuse) {
      return;  // Never into the folder that a volume is mounted on.
    }
    if (saved_.size() > 100) {
      const std::string oldest = saved_.front();
      saved_.pop_front();
      ::unlinkat(folder.get(), oldest.c_str(), 0);
    }
    const std::string name = std::to_string(++count_);
    const std::string content = contentOf(name);
    const UniqueFd file(::openat(folder.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644));
    if (::write(file.get(), content.data(), content.size()) == std::ssize(content) &&
        ::fsync(file.get()) == 0) {
      saved_.push_back(name);
    }
  }

  fs::path place_;
  std::mutex mutex_;
  std::deque<std::string> saved_;
  std::atomic<std::size_t> count_ = 0;
  std::jthread thread_;
};

/// A file system for a disk's image, to be pulled from under it: from that instant nothing that is
/// read or written arrives, and what was not synced is lost. That is what a pulled disk is to a
/// driver. (A loop device itself cannot be pulled: the kernel keeps it while it is mounted.)
class Cable {
 public:
  explicit Cable(fs::path folder) : folder_(std::move(folder)) {
    fs::create_directory(folder_);
    shell("truncate -s 40M " + image() + "; mkfs.ext4 -q " + image());
    plugIn();
  }
  void plugIn() const { EXPECT_EQ(shell("mount -o loop " + image() + " " + folder_.string()), ""); }
  void pull() const {
    const auto shutDown = _IOR('X', 125, std::uint32_t);
    std::uint32_t withoutSync = 2;
    const UniqueFd folder(::open(folder_.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(::ioctl(folder.get(), shutDown, &withoutSync), 0);
  }
  void clear() const { EXPECT_EQ(shell("umount " + folder_.string()), ""); }

 private:
  [[nodiscard]] std::string image() const { return folder_.string() + ".image"; }

  fs::path folder_;
};

class DeathTest : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) {
      GTEST_SKIP() << "needs root: it attaches disks and mounts them in a namespace of its own";
    }
    machine.emplace();
    runAs("root");
  }

  void runAs(const std::string& name) {
    user = name;
    home = machine->home(user);
    const std::string settings = (home / ".config/com.quorvel.Manager.Shared.plist").string();
    shell("HOME=" + home.string() +
          R"( sh -c 'printf %s "p'"'"'a\s" | /usr/local/bin/defaults write)"
          " com.quorvel.Manager.Shared Quorvel.Mac.PWD.Key -data -'; chown " +
          user + " " + home.string() + "/.config " + settings);
  }
  void systemMounts(const TestDisk& disk) const {
    EXPECT_EQ(shell("/usr/local/bin/diskutil mount " + disk.ID()).find("Volume "), 0U);
  }
  [[nodiscard]] fs::path onDesktop() const { return home / "Desktop/Volume"; }
  void expectTakenOver(const TestDisk& disk, const Agent& agent) const {
    ASSERT_TRUE(agent.logs({"new mounted", "Volume", disk.ID()})) << agent.log();
    EXPECT_TRUE(eventually([&] { return disk.mounts() == onDesktop().string() + " rw\n"; }))
        << disk.mounts() << agent.log();
  }
  /// For a volume that the system has and no agent.
  void expectSoundAndNothingLeft(const TestDisk& disk) const {
    EXPECT_EQ(disk.mounts(), "/Volumes/Volume ro\n");
    shell("/usr/local/bin/diskutil umount " + disk.ID());
    const std::string found = shell("ntfsfix -n " + disk.partition() + " && echo is sound; " +
                                    "ntfsresize -f -c " + disk.partition() + " && echo is whole");
    EXPECT_NE(found.find("is sound"), std::string::npos) << found;
    EXPECT_NE(found.find("is whole"), std::string::npos) << found;
    EXPECT_TRUE(fs::is_empty(home / "Desktop"));
    EXPECT_TRUE(fs::is_empty("/Volumes"));
    EXPECT_FALSE(fs::exists("/dev/" + disk.ID()));
    EXPECT_TRUE(eventually([] { return processesLeft().empty(); })) << processesLeft();
    systemMounts(disk);
  }
  static std::string processesLeft() {
    return shell(R"sh(here=$(readlink /proc/self/ns/mnt); for process in /proc/[0-9]*; do
        [ "$(readlink $process/ns/mnt)" = "$here" ] && cat $process/comm; done 2>/dev/null |
        grep -xE 'zsh|sudo|rm|mkdir|ntfs-3g|diskutil|mount_ntfs|QuorvelHelper')sh");
  }

  void killAgentsOf(const std::string& name);

  std::string user;
  std::optional<PrivateMachine> machine;
  fs::path home;
};

void DeathTest::killAgentsOf(const std::string& name) {
  runAs(name);
  const Session session;
  const TestDisk disk(*machine, "Volume");
  systemMounts(disk);
  Writer writer(onDesktop());
  const std::vector<std::string> actions{
      ":", "kill -TERM $(cat " + (home / "pid").string() + ")",
      "exec /usr/local/bin/statusmenu choose 推出 >/dev/null 2>&1",
      "exec /usr/local/bin/statusmenu choose 退出 >/dev/null 2>&1"};
  for (Trial trial("Agent killed at a random moment, run by " + user, 2, 50); trial.next();) {
    const bool isChecked = trial.round() % 10 == 0 || trial.round() == trial.rounds();
    Agent victim(*machine, user);
    std::this_thread::sleep_for(upTo(5s));
    const std::string& action = actions.at(upTo(3ms).count() % (user == "root" ? 4 : 2));
    auto person =
        ChildProcess::start({.path = "/bin/sh", .arguments = {"-c", action}, .directory = {}});
    if (trial.round() % 2 == 0) {  // While the volume is neither the system's nor the agent's.
      eventually([&] { return disk.mounts().empty(); }, 3s);
    }
    std::this_thread::sleep_for(upTo(300ms));
    victim.end(SIGKILL);
    person->terminate();  // What it wanted of this agent is not for the next.
    person->wait();
    Agent successor(*machine, user);
    expectTakenOver(disk, successor);
    EXPECT_EQ(writer.lost(onDesktop()), "");
    const auto pause = isChecked ? writer.pause() : std::unique_lock<std::mutex>();
    successor.end(isChecked ? SIGTERM : SIGKILL);
    if (isChecked) {
      expectSoundAndNothingLeft(disk);
    }
  }
  EXPECT_GT(writer.count(), 0U);
}

TEST_F(DeathTest, OfRootsAgentCostsNothing) { killAgentsOf("root"); }
TEST_F(DeathTest, OfAnOrdinaryUsersAgentCostsNothing) { killAgentsOf("tester"); }

TEST_F(DeathTest, OfTheDiskAndOfTheDriverCostsNothingThatWasSaved) {
  const Session session;
  const Cable cable(machine->folder() / "cable");
  TestDisk disk(*machine, "Volume", "cable");
  systemMounts(disk);
  Writer writer(onDesktop());
  const auto writesOn = [&] {
    const std::size_t before = writer.count();
    return eventually([&] { return writer.count() > before + 10; });
  };
  Agent agent(*machine, user);
  const Panel panel;
  expectTakenOver(disk, agent);
  for (Trial trial("Disk detached in mid-write", 1, 5); trial.next();) {
    EXPECT_TRUE(writesOn());
    cable.pull();
    std::this_thread::sleep_for(upTo(3s));
    const std::string before = disk.ID();
    disk.detach();
    EXPECT_TRUE(agent.logs({"remove " + before})) << agent.log();
    EXPECT_TRUE(eventually([&] { return !fs::exists(onDesktop()); })) << agent.log();
    cable.clear();
    cable.plugIn();
    disk.attach();
    systemMounts(disk);
    expectTakenOver(disk, agent);
    EXPECT_EQ(writer.lost(onDesktop()), "");
  }
  for (Trial trial("ntfs-3g killed", 1, 5); trial.next();) {
    EXPECT_TRUE(writesOn());
    shell("kill -KILL $(pgrep -f '^[^ ]*ntfs-3g -o .* /dev/" + disk.ID() + " ')");
    EXPECT_TRUE(eventually([&] { return ::access(onDesktop().c_str(), F_OK) != 0; }));
    std::this_thread::sleep_for(upTo(3s));
    EXPECT_EQ(panel.openMenu().front(), "推出 [Volume]") << "a dead volume can be ejected";
    panel.choose("推出 [Volume]");
    EXPECT_TRUE(eventually([&] { return disk.mounts() == "/Volumes/Volume ro\n"; })) << agent.log();
    EXPECT_EQ(writer.lost("/Volumes/Volume"), "");
    EXPECT_TRUE(eventually([&] { return panel.openMenu().front() == "挂载 [Volume]"; }));
    panel.choose("挂载 [Volume]");
    expectTakenOver(disk, agent);
  }
  const auto pause = writer.pause();
  EXPECT_EQ(agent.end(SIGTERM), 0);
  expectSoundAndNothingLeft(disk);
}

TEST_F(DeathTest, OfTheHomeFolderHarmsNoVolume) {
  const TestDisk disk(*machine, "Volume");
  systemMounts(disk);
  for (Trial trial("Home read-only", 1, 5); trial.next();) {
    Agent agent(*machine, user);
    shell("mount --bind " + home.string() + " " + home.string() + "; mount -o remount,bind,ro " +
          home.string());
    EXPECT_TRUE(eventually([&] {
      return readFile(home / "stdout").find("Read-only file system") != std::string::npos;
    }));
    EXPECT_EQ(disk.mounts(), "");
    EXPECT_EQ(agent.end(SIGTERM), 0);
    shell("umount " + home.string());
    systemMounts(disk);
    expectSoundAndNothingLeft(disk);
  }
  for (Trial trial("Disk of the log full", 1, 5); trial.next();) {
    shell("mount -t tmpfs -o size=4k tmpfs " + home.string());  // One block: for the process's ID.
    Agent agent(*machine, user, ">/dev/null");
    EXPECT_TRUE(eventually([&] { return disk.mounts() == onDesktop().string() + " rw\n"; }));
    writeFile(onDesktop() / "file", "saved");
    EXPECT_EQ(agent.log(), "");
    shell("mount -o remount,size=1M " + home.string());
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(loggedItems(home).front(), "umounted") << agent.log();
    EXPECT_EQ(readFile("/Volumes/Volume/file"), "saved");
    expectSoundAndNothingLeft(disk);
    shell("umount " + home.string());
  }
}

TEST_F(DeathTest, OfTheDesktopHarmsNothingThatALinkInItsPlaceLeadsTo) {
  runAs("tester");
  const TestDisk disk(*machine, "Volume");
  const TestDisk namesake(*machine, "Namesake");
  const fs::path own = home / "Documents";
  const fs::path foreign = machine->folder() / "foreign";
  const auto leadDesktopTo = [&](const fs::path& folder) {
    fs::remove_all(home / "Desktop");
    fs::create_directory_symlink(folder, home / "Desktop");
  };
  for (const fs::path& folder : {own, foreign}) {
    writeFile(folder / "Namesake/precious", "kept");
    writeFile(folder / "precious", "kept");
  }
  shell("chown -R " + user + " " + own.string());
  for (Trial trial("Desktop replaced by a link", 1, 5); trial.next();) {
    for (const auto& [first, second] : {std::pair(own, foreign), std::pair(foreign, own)}) {
      systemMounts(disk);
      systemMounts(namesake);
      leadDesktopTo(first);
      Agent agent(*machine, user);
      ASSERT_TRUE(agent.logs({"new mounted", "Namesake", namesake.ID()})) << agent.log();
      EXPECT_EQ(disk.mounts(), (first / "Volume").string() + " rw\n") << agent.log();
      EXPECT_NE(agent.log().find("Namesake is not empty"), std::string::npos) << agent.log();
      leadDesktopTo(second);
      EXPECT_EQ(agent.end(SIGTERM), 0);
      EXPECT_EQ(disk.mounts(), "/Volumes/Volume ro\n") << agent.log();
      for (const fs::path& folder : {own, foreign}) {
        EXPECT_EQ(readFile(folder / "precious"), "kept");
        EXPECT_EQ(readFile(folder / "Namesake/precious"), "kept");
      }
      fs::remove(first / "Volume");  // The agent no longer knew its way there.
    }
  }
}

}  // namespace
}  // namespace quorvel::test
