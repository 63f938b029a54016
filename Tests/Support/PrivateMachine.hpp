// A machine of the test's own on this machine: real disks, real tools, real sudo, but in a mount
// namespace in which /etc, /run, /Volumes and /usr/local/bin are the test's, and /proc shows an
// ordinary user the own processes only.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Foundation/NSPipe.hpp"
#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::test {

/// What a command printed on both streams.
std::string shell(const std::string& script);

/// Returns when udevd, if one runs, has seen to all that has happened to disks so far.
void settle();

/// Moves this process into the namespace for good; needs root. Whatever is left in it is cleared
/// away when the test ends, be it by SIGKILL. There is one at a time on a machine, whoever runs
/// tests on it: /Volumes is made and removed on the real root, and removing a folder takes what
/// other namespaces have mounted on it along. The tools of this build are installed in it as they
/// are on a real machine, with the drop-in for sudo, and there is a user "tester", who may use sudo
/// with the password "p'a\s"; agents find it in the settings of root and of the tester. A udevd of
/// its own runs in it where the environment has QUORVEL_UDEVD.
class PrivateMachine {
 public:
  PrivateMachine();
  ~PrivateMachine();
  PrivateMachine(const PrivateMachine&) = delete;
  PrivateMachine& operator=(const PrivateMachine&) = delete;

  /// Lets the agent see this disk; it sees no other, whatever is attached to the machine.
  void show(const std::string& wholeDisk) const;

  [[nodiscard]] std::filesystem::path home(std::string_view user) const {
    return folder_ / "home" / user;
  }
  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
  /// The search path of a user's session, with the listing that shows only the test's disks.
  [[nodiscard]] std::string searchPath() const {
    return (folder_ / "bin").string() + ":/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin";
  }

  /// Does nothing where one runs.
  static void startUdevd();

 private:
  UniqueFd turn_;  ///< Held for the machine's life.
  std::filesystem::path folder_;
  NSPipe life_;  ///< The guardian reads its end.
  std::optional<ChildProcess> guardian_;
};

/// A disk with an NTFS volume and an empty partition that is called Linux's, attached as long as
/// its owner lives. Its image lies in the machine's folder "disks", and is sparse.
class TestDisk {
 public:
  TestDisk(const PrivateMachine& machine, const std::string& label, int mebibytes = 15);
  ~TestDisk();
  TestDisk(const TestDisk&) = delete;
  TestDisk& operator=(const TestDisk&) = delete;

  void attach();
  /// Pulls it out, mounted or not.
  void detach();

  /// "disk7s1"
  [[nodiscard]] std::string ID() const { return whole_ + "s1"; }
  /// The kernel's own node of the partition.
  [[nodiscard]] std::string partition() const { return loop_ + "p1"; }
  /// Where it is mounted and how, a line a mount: "/Volumes/A ro".
  [[nodiscard]] std::string mounts() const;

 private:
  const PrivateMachine& machine_;
  std::filesystem::path image_;
  std::string loop_;
  std::string whole_;
};

/// Tries something with real disks; skipped where it may not.
class MachineTest : public testing::Test {
 protected:
  void SetUp() final;
  /// What else the test needs before it begins.
  virtual void prepare() {}

  /// The system's own mount of it.
  static void systemMounts(const TestDisk& disk);

  std::optional<PrivateMachine> machine;
};

}  // namespace quorvel::test
