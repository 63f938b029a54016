// What running commands costs: the runner, a scan, and the tool that each scan starts.
#include <unistd.h>

#include "Benchmarks/Measure.hpp"
#include "Helper/NTFSManager.hpp"
#include "Helper/Scripts.hpp"
#include "Shared/Script.hpp"

namespace quorvel::benchmarks {
namespace {

void runBare(std::string_view script) { runProcess({"/bin/zsh", "-c", std::string(script)}); }

void runBareListings() {
  runBare(listScript);
  runBare(mountListScript);
}

}  // namespace

void measureCommands(const test::StandInMachine& machine) {
  std::filesystem::remove(machine / ".zshenv");  // What zsh and the commands do takes no time.
  test::writeScript(machine / "bin/diskutil",
                    "#!/bin/sh\n[ $1 = info ] || echo '0: Linux disk1'\n");
  test::writeScript(machine / "bin/df", "#!/bin/sh\necho /dev/disk1 1G\n");
  compare({.what = "`Script.run` of an empty script : posix_spawn",
           .pairs = 150,
           .ours = [] { return costOf([] { Script::run("/bin/zsh", std::nullopt, {""}); }); },
           .theirs = [] { return costOf([] { runBare(""); }); },
           .wallGoal = "at most 1.05",
           .cpuGoal = "at most 1.05"});
  compare({.what = "Scan without news : its two command lines",
           .pairs = 60,
           .ours = [] { return costOf([] { NTFSManager::shared().run(); }); },
           .theirs = [] { return costOf(runBareListings); },
           .wallGoal = "",
           .cpuGoal = "at most 1.05"});
}

void measureListing(const test::StandInMachine& /*machine*/) {
  const bool hasUdevd = ::access("/run/udev/control", F_OK) == 0;
  compare({.what = std::string("`diskutil list` : `lsblk`, ") +
                   (hasUdevd ? "with udevd" : "without udevd"),
           .pairs = 150,
           .ours =
               [] {
                 return runProcess({QUORVEL_BUILD_FOLDER "/bin/diskutil", "list"});
               },
           .theirs = [] { return runProcess({"lsblk"}); },
           .wallGoal = hasUdevd ? "at most 1" : "none: it reads the disks",
           .cpuGoal = hasUdevd ? "at most 1" : "none"});
}

}  // namespace quorvel::benchmarks
