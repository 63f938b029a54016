// The built agent with real disks: what its users see.
#include <gtest/gtest.h>

#include <csignal>
#include <regex>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;

/// Its parameter is the user who runs the agent.
class DiskTest : public MachineTest, public testing::WithParamInterface<std::string> {
 protected:
  std::unique_ptr<TestDisk> plugIn(const std::string& label) {
    auto disk = std::make_unique<TestDisk>(*machine, label);
    systemMounts(*disk);
    return disk;
  }
  std::string asUser(const std::string& command, const std::string& input = ":") const {
    const std::string user = GetParam();
    return shell(input + " | setpriv --reuid=" + user + " --regid=" + user +
                 " --init-groups env -i HOME=" + machine->home(user).string() +
                 " PATH=" + machine->searchPath() + " " + command);
  }
  [[nodiscard]] fs::path onDesktop(const std::string& name) const {
    return machine->home(GetParam()) / "Desktop" / name;
  }
};

INSTANTIATE_TEST_SUITE_P(As, DiskTest, testing::Values("root", "tester"),
                         [](const auto& user) { return user.param; });

TEST_P(DiskTest, TakesAVolumeOverOnceTheSystemHasMountedItAndGivesItBack) {
  const auto disk = std::make_unique<TestDisk>(*machine, "My Stick");
  Agent agent(*machine, GetParam());
  ASSERT_TRUE(agent.logs({"No mounted system"}));
  systemMounts(*disk);
  ASSERT_TRUE(agent.logs({"new mounted", "My Stick", disk->ID()}));
  EXPECT_EQ(disk->mounts(), onDesktop("My Stick").string() + " rw\n");
  asUser("sh -c 'echo content >\"$HOME/Desktop/My Stick/file\"'");
  EXPECT_EQ(readFile("/Volumes/My Stick/file"), "content\n") << "what the agent opens for the user";
  EXPECT_EQ(shell("stat -c %U " + onDesktop("My\\ Stick/file").string()), GetParam() + "\n");
  const std::string process = "/proc/$(cat " + (machine->home(GetParam()) / "pid").string() + ")";
  EXPECT_EQ(shell("stat -c %U " + process + "/mem"), "root\n") << "the user's programs can read it";
  EXPECT_EQ(shell("grep -cE 'core file size +[01] ' " + process + "/limits"), "1\n");
  EXPECT_EQ(agent.end(SIGINT), 0);
  EXPECT_EQ(disk->mounts(), "/Volumes/My Stick ro\n");
  EXPECT_EQ(readFile("/Volumes/My Stick/file"), "content\n");
  EXPECT_TRUE(fs::is_empty(machine->home(GetParam()) / "Desktop"));
  EXPECT_EQ(agent.log(), readFile(machine->home(GetParam()) / "stdout"));
  EXPECT_EQ(agent.log().find("p'a"), std::string::npos) << "the password is in the log";
}

TEST_P(DiskTest, NeverDeletesTheFolderOfAVolumeThatIsBusy) {
  const auto disk = plugIn("Busy");
  Agent agent(*machine, GetParam());
  ASSERT_TRUE(agent.logs({"new mounted", "Busy", disk->ID()}));
  ASSERT_TRUE(fs::is_empty(onDesktop("Busy"))) << "only a mounted volume keeps it from deletion";
  ChildRequest request{.path = "/bin/sleep", .arguments = {"600"}, .directory = onDesktop("Busy")};
  auto holder = ChildProcess::start(request);
  ASSERT_TRUE(holder);
  EXPECT_EQ(agent.end(SIGTERM), 0);
  EXPECT_TRUE(std::regex_search(agent.log(), std::regex("dissented by PID .*sleep")));
  EXPECT_EQ(agent.log().find("\nremove\n"), std::string::npos);
  EXPECT_EQ(disk->mounts(), onDesktop("Busy").string() + " rw\n");
  holder->terminate();
  holder->wait();
  Agent next(*machine, GetParam());  // Takes it over from its predecessor.
  ASSERT_TRUE(next.logs({"new mounted", "Busy", disk->ID()}));
  EXPECT_EQ(next.end(SIGHUP), 0);
  EXPECT_EQ(disk->mounts(), "/Volumes/Busy ro\n");
}

TEST_P(DiskTest, NeverDeletesAFolderThatItCannotLookInto) {
  const std::string desktop = machine->home(GetParam()) / "Desktop";
  shell("install -d -o " + GetParam() + " " + desktop + "; install -d -m 700 " + desktop +
        "/Backup");
  writeFile(onDesktop("Backup") / "precious", "kept");
  writeFile(machine->home(GetParam()) / ".zshenv", "umask 077\n");  // Of what sudo makes as well.
  const auto disk = plugIn("Backup");
  Agent agent(*machine, GetParam());
  ASSERT_TRUE(agent.logs({"new mounted", "Backup", disk->ID()}));
  const auto next = plugIn("Next");
  ASSERT_TRUE(agent.logs({"new mounted", "Next", next->ID()}));
  EXPECT_EQ(shell("stat -c %a " + onDesktop("Backup").string()), "700\n");
  EXPECT_EQ(agent.end(SIGTERM), 0);
  EXPECT_EQ(readFile(onDesktop("Backup") / "precious"), "kept");
  EXPECT_EQ(next->mounts(), "/Volumes/Next ro\n") << "its folder is the agent's own";
  EXPECT_FALSE(fs::exists(onDesktop("Next")));
}

TEST_P(DiskTest, LogsThatThePasswordIsWrongAndLivesOnWhenNobodyReadsItsOutput) {
  asUser("defaults write com.quorvel.Manager.Shared Quorvel.Mac.PWD.Key -data -", "printf wrong");
  const auto disk = plugIn("Locked");
  // Its reader leaves as soon as it is open.
  asUser("sh -c 'cd \"$HOME\"; mkfifo pipe; (: <pipe) >/dev/null 2>&1 &'");
  // Nor does it run out of patience with a sudo that pauses after each wrong password.
  Agent agent(*machine, GetParam(), ">pipe", 1);
  ASSERT_TRUE(agent.logs({"new mounted", "Locked", disk->ID()}));
  EXPECT_EQ(agent.log().find("incorrect password") == std::string::npos, GetParam() == "root");
  EXPECT_EQ(agent.end(SIGTERM), 0);
  // Where nothing could be mounted, a scan may have found that before the end.
  EXPECT_TRUE(GetParam() != "root" || disk->mounts() == "/Volumes/Locked ro\n");
}

using Desktop = MachineTest;

TEST_F(Desktop, TakesTurnsWithTheAgentAndLeavesNothingBehind) {
  PrivateMachine::startUdevd();
  shell(R"((mount -t tmpfs tmpfs /media; install -d -o messagebus /run/dbus
dbus-daemon --system --fork; /usr/libexec/udisks2/udisksd &) >/dev/null 2>&1)");
  ASSERT_TRUE(eventually([] { return shell("udisksctl status").starts_with("MODEL"); }));
  const Session session;
  TestDisk disk(*machine, "Stick");
  const std::string desktop = (machine->home("root") / "Desktop").string();
  const std::string inMedia = "/media/root/Stick\n";
  const std::string takenOver = desktop + "/Stick\n/Volumes/Stick\n" + desktop + "/Stick\n";
  const auto ask = [&](const std::string& what) {
    return shell("udisksctl " + what + " -b " + disk.partition());
  };
  // Its mounts, by whatever name, and then whatever lies where one might leave a folder.
  const std::string look = "grep -E '^(" + disk.partition() + "|/dev/" + disk.ID() +
                           ") ' /proc/mounts | cut -d' ' -f2; find /media/root /Volumes " +
                           desktop + " -mindepth 1 -maxdepth 1 2>/dev/null | sort";
  const auto becomes = [&](const std::string& expected) {
    EXPECT_TRUE(eventually([&] { return shell(look) == expected; })) << shell(look);
  };
  static_cast<void>(ask("mount"));
  becomes(inMedia + inMedia);
  Agent agent(*machine, "root");
  const Panel panel;
  becomes(takenOver);
  // Something may be looking into it at first, and udisks does not wait.
  EXPECT_TRUE(
      eventually([&] { return ask("unmount") == "Unmounted " + disk.partition() + ".\n"; }));
  becomes("");
  EXPECT_EQ(ask("mount"), "Mounted " + disk.partition() + " at " + inMedia);
  ASSERT_TRUE(panel.shows("挂载 [Stick]"));
  panel.choose("挂载 [Stick]");
  becomes(takenOver);
  disk.detach();
  becomes("");
  EXPECT_EQ(agent.end(SIGTERM), 0);
}

}  // namespace
}  // namespace quorvel::test
