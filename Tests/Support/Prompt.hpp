// The command-line tools at a prompt.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/PrivateMachine.hpp"

namespace quorvel::test {

/// What a command printed; where it complained or failed, also "error: ", its words and its status.
std::string run(const std::string& command);

/// The command says why on standard error, prints nothing, and fails.
void expectRefusal(const std::string& command, const std::string& why, int status = 1);

/// Commands have $D, the domain of the agent's settings.
struct Prompt {
  Prompt();
  TemporaryFolder home;
  const std::string in = home.path();
};

/// Commands have $ID and $PART, a disk's NTFS partition, $TESTER, which makes them his, and $LOOK,
/// by which udevd, if it runs, looks at the disk again: nobody tells it of what is written there.
class DiskToolsTest : protected Prompt, public MachineTest {
 protected:
  void prepare() override;
  std::unique_ptr<TestDisk> plugIn(const std::string& label);
  [[nodiscard]] std::string says(const std::string& name, const std::string& what) const;
  static void expectNothingLeft();
  std::string ID, whole, second;
};

}  // namespace quorvel::test
