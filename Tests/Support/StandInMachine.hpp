// A machine without disks: the commands that the agent calls are small scripts that answer from
// files, zsh is the real one, and every script that it is given is recorded.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Tests/Support/ClockSpeed.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::test {

class StandInMachine {
 public:
  /// Points HOME, PATH and zsh's start-up file to this machine.
  StandInMachine();

  /// What `diskutil list` prints; a volume row has its identifier as last word.
  void list(std::string_view output) const;
  /// What `diskutil info` prints of an identifier, in the platform's layout.
  void describe(std::string_view identifier, std::string_view name, std::string_view mounted,
                std::string_view personality) const;
  void info(std::string_view identifier, std::string_view output) const;
  /// What `df -h` prints.
  void mounts(std::string_view output) const;
  /// All three at once: volumes of these names, on one disk, mounted by the system.
  void attach(const std::vector<std::string>& names) const;
  void settings(std::string_view keysAndValues) const;

  /// The scripts that zsh was given so far, each as it stood; forgets them.
  std::vector<std::string> takeScripts() const;
  /// How many scans have got as far as listing the mounts.
  [[nodiscard]] std::size_t scans() const;
  /// What was logged so far; forgets it.
  std::vector<std::string> takeLog() const;

  [[nodiscard]] std::filesystem::path home() const { return folder_ / "home"; }
  [[nodiscard]] std::filesystem::path desktop() const { return home() / "Desktop"; }
  std::filesystem::path operator/(std::string_view name) const { return folder_ / name; }

 private:
  void replace(std::string_view name, std::string_view content) const;

  TemporaryFolder folder_;
};

/// The built agent, run on the stand-in machine.
class StandInAgent {
 public:
  /// `wrapper` are the first words of its command line, as a shell takes them.
  explicit StandInAgent(const StandInMachine& machine,
                        const std::filesystem::path& bundle = builtBundle(),
                        const std::string& wrapper = "env " + fastClock(kUsualSpeed));
  ~StandInAgent();
  StandInAgent(const StandInAgent&) = delete;
  StandInAgent& operator=(const StandInAgent&) = delete;

  static std::filesystem::path builtBundle();

  /// Waits for the agent to end by itself: the exit status.
  int wait();
  [[nodiscard]] std::string errors() const { return readFile(errors_); }
  /// Once it runs.
  [[nodiscard]] std::string pid() const { return readFile(pidFile_); }

 private:
  std::filesystem::path errors_;
  std::filesystem::path pidFile_;
  std::optional<ChildProcess> process_;
};

}  // namespace quorvel::test
