// The built agent, run by a test.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Tests/Support/PrivateMachine.hpp"
#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::test {

/// The first words of a command line that make the timers of the agent, or the patience of a tool,
/// run so many times as fast, but not those of its commands: a test need not wait for the next
/// scan. One that ends without having had the timer of a scan or a pause made faster has the status
/// FAST_CLOCK_UNUSED. `library` is where fast-clock lies.
std::string fastClock(int speed = 5, const std::filesystem::path& library = QUORVEL_FAST_CLOCK);

std::filesystem::path builtBundle();

/// Ends with its owner. Where the test has failed by then, it shows its log and its complaints.
class Agent {
 public:
  /// On a machine without disks. `wrapper` are the first words of its command line.
  explicit Agent(const StandInMachine& machine, const std::string& wrapper = fastClock(),
                 const std::filesystem::path& bundle = builtBundle());
  /// On a machine with disks, run by a user; it must not complain of anything. `output` is where
  /// its standard output goes, as a shell takes it. `speed` is its clock's: a scan of many disks
  /// must not take a minute by it.
  Agent(const PrivateMachine& machine, const std::string& user,
        const std::string& output = ">stdout", int speed = 5);
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  [[nodiscard]] std::string pid() const { return std::to_string(pid_); }
  void send(int signal) const;
  /// Sends the signal and waits for the end: the exit status.
  int end(int signal);
  /// Waits for an end that it was asked for otherwise.
  int wait();

  /// Whether an entry with all these items in a row appears before patience ends.
  [[nodiscard]] bool logs(const std::vector<std::string>& items) const;
  [[nodiscard]] std::string log() const;
  /// What it, and others in its home before it, said on standard error.
  [[nodiscard]] std::string errors() const;

 private:
  void start(std::vector<std::string> wrapper, const std::string& command);

  std::filesystem::path home_;
  bool mayComplain_;
  int pid_ = 0;
  std::optional<ChildProcess> process_;
};

}  // namespace quorvel::test
