// A machine without disks: the commands that the agent calls are small scripts that answer from
// files, zsh is the real one, and every script that it is given is recorded.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Tests/Support/Files.hpp"

namespace quorvel::test {

class StandInMachine {
 public:
  /// Points HOME, PATH and zsh's start-up file to this machine.
  StandInMachine();

  /// What a command prints from now on: "list" stands for `diskutil list`, where a volume's row has
  /// its identifier as last word, "info-disk2s1" for `diskutil info disk2s1`, "mounts" for `df -h`.
  void answer(const std::string& command, std::string_view output) const;
  /// What `diskutil info` prints of an identifier, in the platform's layout.
  void describe(const std::string& identifier, const std::string& name, const std::string& mounted,
                const std::string& personality) const;
  /// All these at once: volumes of these names, on one disk, mounted by the system.
  void attach(const std::vector<std::string>& names) const;
  void settings(const std::string& keysAndValues) const;

  /// The scripts that zsh was given since the last call, each as it stood.
  std::vector<std::string> takeScripts() const;
  /// Whether a script with this text is, or has been since then, given to zsh before patience ends.
  [[nodiscard]] bool runs(const std::string& text) const;
  /// How many scans have got as far as listing the mounts.
  [[nodiscard]] std::size_t scans() const;
  /// Whether so many more do before patience ends.
  [[nodiscard]] bool scansOn(std::size_t more,
                             std::chrono::seconds patience = std::chrono::seconds(60)) const;
  /// The items of the entries logged so far, but those of a scan while another runs: nobody knows
  /// when, on a busy machine.
  [[nodiscard]] std::vector<std::string> log() const;

  [[nodiscard]] std::filesystem::path home() const { return folder_ / "home"; }
  [[nodiscard]] std::filesystem::path desktop() const { return home() / "Desktop"; }
  std::filesystem::path operator/(std::string_view name) const { return folder_ / name; }

 private:
  [[nodiscard]] std::string newScripts() const;

  TemporaryFolder folder_;
  mutable std::size_t taken_ = 0;  ///< Of the recorded scripts; the record itself only grows.
};

}  // namespace quorvel::test
