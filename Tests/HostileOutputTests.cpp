// Outputs and ends of commands that nobody has thought of.
#include <gtest/gtest.h>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/Trial.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

struct Output {
  std::string script;  ///< What the command does instead, in sh.
  bool ends = true;    ///< Within a test's patience.
};

/// ./test tries the first ones.
const std::vector<Output> kHostileOutputs{
    {":"},
    {"yes '1: disk9s0'"},
    {R"(printf '1: disk9s0\nVolume Name: A\nMoun')"},
    {R"(printf '1: disk9s0\377\nVolume Name: \377\n')"},
    {"head -c 50000000 /dev/zero | tr '\\0' x"},
    {"yes >&2"},
    {"while [ -e $0 ]; do sleep 0.1; done"},  // Ends with the trial of it.
    {"echo 'Volume Name:'; yes x | head -c 50000000 | tr -d '\\n'; echo; echo Mounted: Yes;"
     "echo File System Personality: NTFS"},
    {R"(printf '1: disk9s0\0\n\0Volume Name:\0\nMounted:\nFile System Personality: NTFS\0')"},
    {"yes '1: disk9s0' | head -n 1000000"},
    {"yes Mounted: No | head -n 1000000"},
    {"seq -f '1: disk9s%.0f' 1000000", false}};

/// Commands and their first words: a file of that name takes the place of the stand-in.
const Texts kCommands{"diskutil-list", "diskutil-info", "df--h"};

TEST(HostileOutput, KeepsNobodyFromTheMenuNorFromTheVolumesThatComeLater) {
  const int pairs = static_cast<int>(kHostileOutputs.size() * kCommands.size());
  for (Trial trial("Hostile output of a command", 5, pairs); trial.next();) {
    const auto round = static_cast<std::size_t>(trial.round() - 1);
    const Output& output = kHostileOutputs[round % kHostileOutputs.size()];
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
        machine / kCommands[(round + round / kHostileOutputs.size()) % kCommands.size()];
    const auto isHostileTo = [&](const Texts& volumes) {
      fs::remove(machine / "begun");
      writeFile(command, "echo >$MACHINE/begun; " + output.script);
      machine.attach(volumes);
      return eventually([&] { return fs::exists(machine / "begun"); });
    };
    ASSERT_TRUE(isHostileTo({"A"})) << output.script;
    EXPECT_FALSE(panel.openMenu().empty()) << output.script;
    fs::remove(command);
    machine.attach({"A", "B"});
    EXPECT_TRUE(!output.ends || panel.shows("推出 [B]")) << command << output.script;
    EXPECT_TRUE(!output.ends || isHostileTo({"A", "B", "C"})) << command << output.script;
    panel.choose("退出");
    EXPECT_EQ(agent.wait(), 0) << command << output.script;
  }
}

}  // namespace
}  // namespace quorvel::test
