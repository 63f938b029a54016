// A program that keeps saving files while disks, drivers and agents are taken away.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Tests/Support/Files.hpp"
#include "Tests/Support/PrivateMachine.hpp"

namespace quorvel::test {

/// Saves a hundred files on a volume, over and over, whenever it is mounted in its place: never
/// into the folder that it is mounted on (the number is the type of FUSE, which has several names).
/// Where a file cannot be saved it is that file's turn again: the others stay to be compared.
class Writer {
 public:
  explicit Writer(const std::filesystem::path& place) {
    constexpr const char* kScript = R"sh(
      mkdir saved; n=1
      while [ ! -e end ]; do
        head -c $((n % 97 * 400)) /dev/urandom >new
        (cd "$0" && [ $(stat -f -c %t .) = 65735546 ] && rm -f "$OLDPWD/saved/$n" &&
          cp "$OLDPWD/new" $n && sync $n) && mv new saved/$n && n=$((n % 100 + 1))
        sleep 0.02
      done 2>/dev/null)sh";
    process_.emplace(*ChildProcess::start(
        {.path = "/bin/sh", .arguments = {"-c", kScript, place}, .directory = folder_.path()}));
  }

  [[nodiscard]] bool saves() const {
    return eventually([this] { return std::filesystem::exists(folder_ / "saved/10"); });
  }
  /// Ends the writing; what was synced and is not as it was on the volume, mounted there.
  std::string lost(const std::filesystem::path& there) {
    writeFile(folder_ / "end", "");
    process_->wait();
    return shell("cd " + (folder_ / "saved").string() + " && for file in *; do cmp $file " +
                 there.string() + "/$file; done; test -e 10 || echo nothing was compared");
  }

 private:
  TemporaryFolder folder_;
  std::optional<ChildProcess> process_;
};

}  // namespace quorvel::test
