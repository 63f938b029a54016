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
const std::string kPlugIn = "umount -q disks; mount -o loop cable disks; ";
const std::string kPull =  // EXT4_IOC_SHUTDOWN without a flush of the log
    "perl -e '$how = pack q(L), 2; open F, q(disks); ioctl F, 0x8004587d, $how or die $!'";
// The image as it is in mid-write, without what of it is still in the kernel's memory only.
const std::string kCutPower =
    "kill -STOP $DRIVER; cp --sparse=always disks/disk-* then; kill -KILL $DRIVER";
const std::string kTurnBack = "[ ! -e then ] || mv then disks/disk-*";

const std::string kPrograms = "pgrep -l --ns $$ --nslist mnt . ";
const std::string kCommands = kPrograms + "| grep -E ' (zsh|sudo|rm|mkdir|diskutil|mount_ntfs)$'";

/// A program that saves a hundred files with their times on a volume, over and over, whenever it is
/// mounted in its place: never into the folder that it is mounted on (the number is the type of
/// FUSE, which has several names). Where a file cannot be saved it is that file's turn again: the
/// others stay to be compared.
class Writer {
 public:
  explicit Writer(const fs::path& place)
      : process_(*ChildProcess::start({.path = "/bin/sh",
                                       .arguments = {"-c", kScript, place},
                                       .directory = folder_.path()})) {}

  [[nodiscard]] bool saves() const {
    return eventually([this] { return fs::exists(folder_ / "saved/10"); });
  }
  /// Ends the writing; what was synced and is not as it was on the volume, mounted there.
  std::string lost(const fs::path& there) {
    writeFile(folder_ / "end", "");
    process_.wait();
    return shell("cd " + (folder_ / "saved").string() + " && T=" + there.string() +
                 " && for file in *; do cmp $file $T/$file; stat -c %Y $file $T/$file | uniq -u; "
                 "done; test -e 10 || echo nothing was compared");
  }

 private:
  static constexpr const char* kScript = R"sh(
    mkdir saved; n=1
    while [ ! -e end ]; do
      head -c $((n % 97 * 400)) /dev/urandom >new
      touch -d @$((n * 1000000)) new
      (cd "$0" && [ $(stat -f -c %t .) = 65735546 ] && rm -f "$OLDPWD/saved/$n" &&
        cp --preserve=timestamps "$OLDPWD/new" $n && sync $n) && mv new saved/$n && n=$((n % 100 + 1))
      sleep 0.02
    done 2>/dev/null)sh";

  TemporaryFolder folder_;
  ChildProcess process_;
};

class SuddenEndTest : public MachineTest {
 protected:
  [[nodiscard]] fs::path home() const { return machine->home(user); }
  [[nodiscard]] fs::path onDesktop() const { return home() / "Desktop/Volume"; }
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
  /// For a volume that the system has and no agent. Unmounts it.
  void expectSoundAndNothingLeft(const TestDisk& disk) const {
    EXPECT_EQ(disk.mounts(), "/Volumes/Volume ro\n");
    shell("/usr/local/bin/diskutil umount " + disk.ID());
    expectSound(disk);
    const std::string left = "ls -d " + home().string() + "/Desktop/* /Volumes/* /dev/" +
                             disk.ID() + " 2>/dev/null; " + kCommands + "; " + kPrograms +
                             "| grep -E ' (ntfs-3g|QuorvelHelper)$'";
    EXPECT_TRUE(eventually([&] { return shell(left).empty(); })) << shell(left);
  }

  std::string user = "root";
};

TEST_F(SuddenEndTest, OfTheAgentCostsNothing) {
  const Session session;  // Root's: nobody else's agent hears of what is chosen.
  const TestDisk disk(*machine, "Volume");
  for (Trial trial("Agent killed at a random moment", 2, 100); trial.next();) {
    systemMounts(disk);
    user = trial.round() % 2 == 0 ? "tester" : "root";
    const std::vector<std::string> actions{
        ":", "kill -TERM $(cat pid)",
        "exec /usr/local/bin/statusmenu choose '推出 [Volume]' >/dev/null 2>&1"};
    const std::string action = actions.at(std::random_device()() % actions.size());
    Writer writer(onDesktop());
    Agent victim(*machine, user);
    std::this_thread::sleep_for(upTo(5s));
    auto person =
        ChildProcess::start({.path = "/bin/sh", .arguments = {"-c", action}, .directory = home()});
    if (trial.round() % 4 > 1) {  // While the volume is neither the system's nor the agent's.
      eventually([&] { return disk.mounts().empty(); }, 3s);
    }
    std::this_thread::sleep_for(upTo(300ms));
    victim.end(SIGKILL);
    person->terminate();  // What it wanted of this agent is not for the next.
    person->wait();
    Agent successor(*machine, user);
    EXPECT_TRUE(eventually([&] {
      // What the victim had begun goes on to its end. Where that is an unmounted volume, it is
      // whole, and a person has the system mount it. (In between a command may have mounted it.)
      if (disk.mounts().empty() && shell(kCommands + "; findmnt -S /dev/" + disk.ID()).empty()) {
        expectSound(disk);
        systemMounts(disk);
      }
      return successor.log().find("new mounted") != std::string::npos;
    }));
    expectTakenOver(disk, successor);
    EXPECT_TRUE(writer.saves());
    EXPECT_EQ(writer.lost(onDesktop()), "");
    EXPECT_EQ(successor.end(SIGTERM), 0);
    expectSoundAndNothingLeft(disk);
  }
}

class SuddenEndOnALargeVolumeTest : public SuddenEndTest {
 protected:
  void prepare() override {
    EXPECT_EQ(onCable("truncate -s 3G cable; mkfs.ext4 -q cable; " + kPlugIn), "");
    disk.emplace(*machine, "Volume", kMebibytes);
    systemMounts(*disk);
    agent.emplace(*machine, user);
    expectTakenOver(*disk, *agent);
  }

  [[nodiscard]] std::string onCable(const std::string& script) const {
    return shell("cd " + machine->folder().string() +
                 "; DRIVER=$(pgrep -f '^[^ ]*ntfs-3g -o .* /dev/" + (disk ? disk->ID() : "") +
                 " '); " + script);
  }
  void eject() const {
    panel.choose("推出 [Volume]");
    EXPECT_TRUE(eventually([&] { return disk->mounts() == "/Volumes/Volume ro\n"; }));
  }
  void mount() const {
    EXPECT_TRUE(panel.shows("挂载 [Volume]"));
    panel.choose("挂载 [Volume]");
    expectTakenOver(*disk, *agent);
  }

  void endDisk(const std::string& what, const std::string& how) {
    for (Trial trial(what, 1, 5); trial.next();) {
      Writer writer(onDesktop());
      EXPECT_TRUE(writer.saves());
      EXPECT_EQ(onCable(how), "");
      std::this_thread::sleep_for(upTo(3s));
      disk->detach();
      EXPECT_TRUE(eventually([&] { return !fs::exists(onDesktop()); }));
      EXPECT_EQ(onCable(kPlugIn + kTurnBack), "");
      disk->attach();
      systemMounts(*disk);
      expectTakenOver(*disk, *agent);
      EXPECT_EQ(writer.lost(onDesktop()), "");
    }
  }

  void killDriver() const {
    for (Trial trial("Driver killed", 1, 5); trial.next();) {
      Writer writer(onDesktop());
      EXPECT_TRUE(writer.saves());
      EXPECT_EQ(onCable("kill -KILL $DRIVER"), "");
      EXPECT_TRUE(eventually([&] { return ::access(onDesktop().c_str(), F_OK) != 0; }));
      std::this_thread::sleep_for(upTo(3s));
      eject();
      EXPECT_EQ(writer.lost("/Volumes/Volume"), "");
      mount();
    }
  }

  /// What was written is read back at once, and from a volume that is mounted anew.
  void verify() const {
    for (Trial trial("fio, with verification", 0, 2); trial.next();) {
      for (const std::string engine : {"psync", "mmap"}) {
        const std::string fio =
            "cd " + onDesktop().string() +
            " && fio --name=file --numjobs=2 --size=96M --rw=randwrite --bsrange=4k-256k "
            "--fsync=64 --verify=crc32c --verify_fatal=1 --fallocate=none --minimal "
            "--output=/dev/null --ioengine=" +
            engine + " --randseed=" + std::to_string(trial.round());
        EXPECT_EQ(shell(fio + " || echo failed"), "");
        eject();
        mount();
        EXPECT_EQ(shell(fio + " --verify_only || echo failed; rm file*"), "");
      }
    }
  }

  /// (Below 4 GiB ntfs-3g leaves out what it does for large volumes.)
  static constexpr int kMebibytes = 5000;

  const Session session;
  const Panel panel;
  std::optional<TestDisk> disk;
  std::optional<Agent> agent;
};

TEST_F(SuddenEndOnALargeVolumeTest, CostsNothingThatWasSaved) {
  endDisk("Disk pulled in mid-write", kPull);
  endDisk("Power cut in mid-write", kCutPower);
  killDriver();
  verify();
  EXPECT_EQ(agent->end(SIGTERM), 0);
  expectSoundAndNothingLeft(*disk);
}

TEST_F(SuddenEndTest, OfTheHomeFolderHarmsNoVolume) {
  const TestDisk disk(*machine, "Volume");
  const std::string folder = home().string();
  for (Trial trial("Home read-only", 1, 5); trial.next();) {
    Agent agent(*machine, user);
    EXPECT_TRUE(agent.logs({"No mounted system"}));
    shell("F=" + folder + "; mount --bind $F $F; mount -o remount,bind,ro $F");
    systemMounts(disk);
    EXPECT_TRUE(eventually([&] {
      return readFile(home() / "stdout").find("Read-only file system") != std::string::npos;
    }));
    EXPECT_EQ(disk.mounts(), "");
    EXPECT_EQ(agent.end(SIGTERM), 0);
    shell("umount " + folder);
    systemMounts(disk);
    expectSoundAndNothingLeft(disk);
  }
}

TEST_F(SuddenEndTest, OfTheDesktopHarmsNothingThatALinkInItsPlaceLeadsTo) {
  user = "tester";
  const TestDisk disk(*machine, "Volume");
  const TestDisk namesake(*machine, "Namesake");
  const fs::path own = home() / "Documents";
  const fs::path foreign = machine->folder() / "foreign";
  writeFile(own / "Namesake/precious", "kept");
  writeFile(foreign / "Namesake/precious", "kept");
  shell("chown -R " + user + " " + own.string());
  // In one step: an agent that finds no desktop takes the folder there for gone, and removes what
  // is there a moment later.
  const auto leadDesktopTo = [&](const fs::path& folder) {
    fs::create_directory_symlink(folder, home() / "next");
    fs::rename(home() / "next", home() / "Desktop");
  };
  for (Trial trial("Desktop replaced by a link", 2, 10); trial.next();) {
    systemMounts(disk);
    systemMounts(namesake);
    leadDesktopTo(trial.round() % 2 == 1 ? own : foreign);
    Agent agent(*machine, user);
    ASSERT_TRUE(agent.logs({"new mounted", "Namesake", namesake.ID()}));
    EXPECT_NE(agent.log().find("Namesake is not empty"), std::string::npos);
    const fs::path place = fs::canonical(onDesktop());
    EXPECT_EQ(disk.mounts(), place.string() + " rw\n");
    leadDesktopTo(trial.round() % 2 == 1 ? foreign : own);
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(disk.mounts(), "/Volumes/Volume ro\n");
    EXPECT_EQ(readFile(own / "Namesake/precious"), "kept");
    EXPECT_EQ(readFile(foreign / "Namesake/precious"), "kept");
    fs::remove(place);  // The agent no longer knew its way there.
  }
}

}  // namespace
}  // namespace quorvel::test
