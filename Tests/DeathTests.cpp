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
  return std::chrono::milliseconds(
      std::uniform_int_distribution<long>(0, longest.count())(random));
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

/// Its parameter is the user who runs the agent.
class DeathTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) {
      GTEST_SKIP() << "needs root: it attaches disks and mounts them in a namespace of its own";
    }
    machine.emplace();
    home = machine->home(user);
    shell("setpriv --reuid=" + user + " --regid=" + user + " --init-groups env HOME=" +
          home.string() + " PATH=" + machine->searchPath() +
          R"( sh -c 'printf %s "p'"'"'a\s" |)"
          " defaults write com.quorvel.Manager.Shared Quorvel.Mac.PWD.Key -data -'");
  }

  void systemMounts(const TestDisk& disk) const {
    EXPECT_EQ(shell("/usr/local/bin/diskutil mount " + disk.ID()).find("Volume "), 0U);
  }
  static bool isMounted(const TestDisk& disk) {
    return readFile("/proc/self/mountinfo").find("/dev/" + disk.ID() + " ") != std::string::npos;
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

  const std::string user = GetParam();
  std::optional<PrivateMachine> machine;
  fs::path home;
};

INSTANTIATE_TEST_SUITE_P(As, DeathTest, testing::Values("root", "tester"),
                         [](const auto& each) { return each.param; });

TEST_P(DeathTest, OfTheAgentCostsNothing) {
  const Session session;
  const TestDisk disk(*machine, "Volume");
  systemMounts(disk);
  Writer writer(onDesktop());
  const std::vector<std::string> actions{
      ":", "kill -TERM $(cat " + (home / "pid").string() + ")",
      "/usr/local/bin/statusmenu choose 推出", "/usr/local/bin/statusmenu choose 退出"};
  for (Trial trial("Agent killed at a random moment, run by " + user, 2, 50); trial.next();) {
    const bool isChecked = trial.round() % 10 == 0 || trial.round() == trial.rounds();
    Agent victim(*machine, user);
    std::this_thread::sleep_for(upTo(5s));
    const auto action = static_cast<std::size_t>(upTo(3ms).count());
    shell("timeout 20 " + actions.at(user == "root" ? action : action % 2) + " >/dev/null 2>&1 &");
    if (trial.round() % 2 == 0) {  // While the volume is neither the system's nor the agent's.
      eventually([&] { return !isMounted(disk); }, 3s);
    }
    std::this_thread::sleep_for(upTo(300ms));
    victim.end(SIGKILL);
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

}  // namespace
}  // namespace quorvel::test
