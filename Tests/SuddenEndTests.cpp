// The agent, the disk, the driver and the home folder taken away at any moment: what was saved on
// the volume stays saved, and the next agent serves it again.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <random>
#include <thread>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/Trial.hpp"
#include "Tests/Support/Writer.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

std::chrono::milliseconds upTo(std::chrono::milliseconds longest) {
  return longest * (std::random_device()() % 1000) / 1000;
}

// A file system for a disk's image, to be pulled from under it: from that instant nothing that is
// read or written arrives, and what was not synced is lost. That is what a pulled disk is to a
// driver. (A loop device itself cannot be pulled: the kernel keeps it while it is mounted.)
const std::string kMakeCable = "truncate -s 40M cable; mkfs.ext4 -q cable; ";
const std::string kPlugIn = "umount -q disks; mount -o loop cable disks";
const std::string kPull =  // EXT4_IOC_SHUTDOWN without a flush of the log
    "perl -e '$how = pack q(L), 2; open F, q(disks); ioctl F, 0x8004587d, $how or die $!'";

const std::string kPrograms = "pgrep -l --ns $$ --nslist mnt . ";
const std::string kCommands = kPrograms + "| grep -E ' (zsh|sudo|rm|mkdir|diskutil|mount_ntfs)$'";

class SuddenEndTest : public MachineTest {
 protected:
  void prepare() override { runAs("root"); }

  void runAs(const std::string& name) {
    user = name;
    home = machine->home(user);
    shell(R"(printf %s "p'a\s" | HOME=)" + home.string() + " /usr/local/bin/defaults write" +
          " com.quorvel.Manager.Shared Quorvel.Mac.PWD.Key -data -; chown -R " + user + " " +
          home.string());
  }
  [[nodiscard]] fs::path onDesktop() const { return home / "Desktop/Volume"; }
  void expectTakenOver(const TestDisk& disk, const Agent& agent) const {
    EXPECT_TRUE(agent.logs({"new mounted", "Volume", disk.ID()}));
    EXPECT_TRUE(eventually([&] { return disk.mounts() == onDesktop().string() + " rw\n"; }));
  }
  /// For a volume that is not mounted.
  static void expectSound(const TestDisk& disk) {
    const std::string found = shell("ntfsfix -n " + disk.partition() + " && ntfsresize -f -c " +
                                    disk.partition() + " && echo It is sound");
    EXPECT_NE(found.find("It is sound"), std::string::npos) << found;
  }
  /// For a volume that the system has and no agent.
  void expectSoundAndNothingLeft(const TestDisk& disk) const {
    EXPECT_EQ(disk.mounts(), "/Volumes/Volume ro\n");
    shell("/usr/local/bin/diskutil umount " + disk.ID());
    expectSound(disk);
    const std::string left = "ls -d " + home.string() + "/Desktop/* /Volumes/* /dev/" + disk.ID() +
                             " 2>/dev/null; " + kCommands + "; " + kPrograms +
                             "| grep -E ' (ntfs-3g|QuorvelHelper)$'";
    EXPECT_TRUE(eventually([&] { return shell(left).empty(); })) << shell(left);
    systemMounts(disk);
  }
  /// After an agent was killed: what it had begun (`commands`) goes on to its end. Where that is an
  /// unmounted volume, it is whole, and a person has the system mount it.
  void mountIfLeftUnmounted(const TestDisk& disk, const Agent& successor,
                            const std::string& commands) const {
    const std::string alive = "for p in $(echo '" + commands + "' | cut -d' ' -f1); do " +
                              "kill -0 $p 2>/dev/null && echo $p; done; :";
    EXPECT_TRUE(eventually([&] { return shell(alive).empty(); })) << commands;
    const std::size_t sofar = successor.log().size();
    const auto isSeenUnmounted = [&] {  // Twice: the first examination may have begun before.
      const std::string text = "No mounted system";
      const std::size_t once = successor.log().find(text, sofar);
      return once != std::string::npos && successor.log().find(text, once + 1) != std::string::npos;
    };
    eventually([&] {
      return isSeenUnmounted() || successor.log().find("new mounted") != std::string::npos;
    });
    if (isSeenUnmounted()) {
      EXPECT_EQ(disk.mounts(), "");
      expectSound(disk);
      systemMounts(disk);
    }
  }

  std::string user;
  fs::path home;
};

TEST_F(SuddenEndTest, OfTheAgentCostsNothing) {
  const Session session;  // Root's: nobody else's agent hears of what is chosen.
  const TestDisk disk(*machine, "Volume");
  systemMounts(disk);
  for (Trial trial("Agent killed at a random moment", 2, 100); trial.next();) {
    runAs(trial.round() % 2 == 0 ? "tester" : "root");
    const std::vector<std::string> actions{
        ":", "kill -TERM $(cat pid)",
        "exec /usr/local/bin/statusmenu choose '推出 [Volume]' >/dev/null 2>&1"};
    const std::string action = actions.at(std::random_device()() % actions.size());
    Writer writer(onDesktop());
    Agent victim(*machine, user);
    std::this_thread::sleep_for(upTo(5s));
    auto person =
        ChildProcess::start({.path = "/bin/sh", .arguments = {"-c", action}, .directory = home});
    if (trial.round() % 4 > 1) {  // While the volume is neither the system's nor the agent's.
      eventually([&] { return disk.mounts().empty(); }, 3s);
    }
    std::this_thread::sleep_for(upTo(300ms));
    victim.end(SIGKILL);
    person->terminate();  // What it wanted of this agent is not for the next.
    person->wait();
    const std::string commands = shell(kCommands);
    Agent successor(*machine, user);
    mountIfLeftUnmounted(disk, successor, commands);
    expectTakenOver(disk, successor);
    EXPECT_TRUE(writer.saves());
    EXPECT_EQ(writer.lost(onDesktop()), "");
    EXPECT_EQ(successor.end(SIGTERM), 0);
    expectSoundAndNothingLeft(disk);
  }
}

TEST_F(SuddenEndTest, OfTheDiskAndOfTheDriverCostsNothingThatWasSaved) {
  const Session session;
  const std::string go = "cd " + machine->folder().string() + "; ";
  EXPECT_EQ(shell(go + kMakeCable + kPlugIn), "");
  TestDisk disk(*machine, "Volume");
  systemMounts(disk);
  Agent agent(*machine, user);
  const Panel panel;
  expectTakenOver(disk, agent);
  for (Trial trial("Disk detached in mid-write", 1, 5); trial.next();) {
    Writer writer(onDesktop());
    EXPECT_TRUE(writer.saves());
    EXPECT_EQ(shell(go + kPull), "");
    std::this_thread::sleep_for(upTo(3s));
    disk.detach();
    EXPECT_TRUE(eventually([&] { return !fs::exists(onDesktop()); }));
    EXPECT_EQ(shell(go + kPlugIn), "");
    disk.attach();
    systemMounts(disk);
    expectTakenOver(disk, agent);
    EXPECT_EQ(writer.lost(onDesktop()), "");
  }
  for (Trial trial("ntfs-3g killed", 1, 5); trial.next();) {
    Writer writer(onDesktop());
    EXPECT_TRUE(writer.saves());
    shell("kill -KILL $(pgrep -f '^[^ ]*ntfs-3g -o .* /dev/" + disk.ID() + " ')");
    EXPECT_TRUE(eventually([&] { return ::access(onDesktop().c_str(), F_OK) != 0; }));
    std::this_thread::sleep_for(upTo(3s));
    EXPECT_EQ(panel.openMenu().front(), "推出 [Volume]") << "a dead volume can be ejected";
    panel.choose("推出 [Volume]");
    EXPECT_TRUE(eventually([&] { return disk.mounts() == "/Volumes/Volume ro\n"; }));
    EXPECT_EQ(writer.lost("/Volumes/Volume"), "");
    EXPECT_TRUE(panel.shows("挂载 [Volume]"));
    panel.choose("挂载 [Volume]");
    expectTakenOver(disk, agent);
  }
  EXPECT_EQ(agent.end(SIGTERM), 0);
  expectSoundAndNothingLeft(disk);
}

TEST_F(SuddenEndTest, OfTheHomeFolderHarmsNoVolume) {
  const TestDisk disk(*machine, "Volume");
  const std::string folder = home.string();
  systemMounts(disk);
  for (Trial trial("Home read-only", 1, 5); trial.next();) {
    Agent agent(*machine, user);
    shell("F=" + folder + "; mount --bind $F $F; mount -o remount,bind,ro $F");
    EXPECT_TRUE(eventually([&] {
      return readFile(home / "stdout").find("Read-only file system") != std::string::npos;
    }));
    EXPECT_EQ(disk.mounts(), "");
    EXPECT_EQ(agent.end(SIGTERM), 0);
    shell("umount " + folder);
    systemMounts(disk);
    expectSoundAndNothingLeft(disk);
  }
}

TEST_F(SuddenEndTest, OfTheDesktopHarmsNothingThatALinkInItsPlaceLeadsTo) {
  runAs("tester");
  const TestDisk disk(*machine, "Volume");
  const TestDisk namesake(*machine, "Namesake");
  const fs::path own = home / "Documents";
  const fs::path foreign = machine->folder() / "foreign";
  writeFile(own / "Namesake/precious", "kept");
  writeFile(foreign / "Namesake/precious", "kept");
  shell("chown -R " + user + " " + own.string());
  const auto leadDesktopTo = [&](const fs::path& folder) {
    fs::remove_all(home / "Desktop");
    fs::create_directory_symlink(folder, home / "Desktop");
  };
  for (Trial trial("Desktop replaced by a link", 2, 10); trial.next();) {
    const bool isOwnFirst = trial.round() % 2 == 1;
    systemMounts(disk);
    systemMounts(namesake);
    leadDesktopTo(isOwnFirst ? own : foreign);
    Agent agent(*machine, user);
    ASSERT_TRUE(agent.logs({"new mounted", "Namesake", namesake.ID()}));
    EXPECT_NE(agent.log().find("Namesake is not empty"), std::string::npos);
    const fs::path place = fs::canonical(onDesktop());
    EXPECT_EQ(disk.mounts(), place.string() + " rw\n");
    leadDesktopTo(isOwnFirst ? foreign : own);
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(disk.mounts(), "/Volumes/Volume ro\n");
    EXPECT_EQ(readFile(own / "Namesake/precious"), "kept");
    EXPECT_EQ(readFile(foreign / "Namesake/precious"), "kept");
    fs::remove(place);  // The agent no longer knew its way there.
  }
}

}  // namespace
}  // namespace quorvel::test
