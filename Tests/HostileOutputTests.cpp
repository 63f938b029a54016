// Outputs and ends of commands that nobody has thought of.
#include <gtest/gtest.h>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/Trial.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

/// What a command does instead, in sh. ./test tries the first ones.
const Texts kHostileOutputs{
    ":",
    "yes '1: disk9s0'",
    R"(printf '1: disk9s0\nVolume Name: A\nMoun')",
    R"(printf '1: disk9s0\377\nVolume Name: \377\n')",
    "head -c 50000000 /dev/zero | tr '\\0' x",
    "yes >&2",
    "while [ -e $0 ]; do sleep 0.1; done",  // Ends with the trial of it.
    R"(printf '1: disk9s0\0\n\0Volume Name:\0\nMounted:\nFile System Personality: NTFS\0')",
    "yes '1: disk9s0' | head -n 1000000",
    "yes Mounted: No | head -n 1000000"};

/// Commands and their first words: a file of that name takes the place of the stand-in.
const Texts kCommands{"diskutil-list", "diskutil-info", "df--h"};

TEST(HostileOutput, KeepsNobodyFromTheMenuNorFromTheVolumesThatComeLater) {
  const int pairs = static_cast<int>(kHostileOutputs.size() * kCommands.size());
  for (Trial trial("Hostile output of a command", 5, pairs); trial.next();) {
    const auto round = static_cast<std::size_t>(trial.round() - 1);
    const std::size_t number = round % kHostileOutputs.size();
    const std::string& output = kHostileOutputs[number];
    const StandInMachine machine;
    const Session session;
    for (const auto* program : {"bin/diskutil", "bin/df"}) {
      writeScript(machine / program,
                  "#!/bin/sh\nf=$MACHINE/${0##*/}-$1; [ -e $f ] && exec sh $f\n" +
                      readFile(machine / program));
    }
    Agent agent(machine);
    const Panel panel;
    const fs::path command =
        machine / kCommands[(number + round / kHostileOutputs.size()) % kCommands.size()];
    const auto isHostileTo = [&](const Texts& volumes) {
      fs::remove(machine / "begun");
      writeFile(command, "echo >$MACHINE/begun; " + output);
      machine.attach(volumes);
      return eventually([&] { return fs::exists(machine / "begun"); });
    };
    ASSERT_TRUE(isHostileTo({"A"})) << output;
    EXPECT_FALSE(panel.openMenu().empty()) << output;
    fs::remove(command);
    machine.attach({"A", "B"});
    EXPECT_TRUE(panel.shows("推出 [B]")) << command << output;
    EXPECT_TRUE(isHostileTo({"A", "B", "C"})) << command << output;
    panel.choose("退出");
    EXPECT_EQ(agent.wait(), 0) << command << output;
  }
}

}  // namespace
}  // namespace quorvel::test
