// The table of measured ratios on standard output, progress and single figures on standard error.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "Benchmarks/Measure.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::benchmarks {
namespace {

constexpr std::string_view kDiskutil = R"(#!/bin/sh
case $1 in
  list) echo "   0:               Linux Filesystem Data   *1.0 GB     disk1" ;;
  info) printf '   Volume Name:  Data\n   Mounted:  Yes\n   File System Personality:  ext4\n' ;;
esac
)";
constexpr std::string_view kDf = R"(#!/bin/sh
echo >>"$HOME/scans"
echo "/dev/disk1  1.0G  1.0M  1.0G  1% /mnt"
)";

/// A home without settings, and a machine with one disk that is of no interest to the agent.
void settleIn(const test::TemporaryFolder& folder) {
  const char* const path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe): no threads yet.
  test::writeScript(folder / "bin/diskutil", kDiskutil);
  test::writeScript(folder / "bin/df", kDf);
  test::writeFile(folder / "scans", "");
  test::setEnvironment("PATH", (folder / "bin").string() + ":" + (path ? path : "/usr/bin:/bin"));
  test::setEnvironment("HOME", folder.path());
  test::setEnvironment("ZDOTDIR", folder.path());
  test::setEnvironment("XDG_CONFIG_HOME", folder / "config");
  test::setEnvironment("XDG_RUNTIME_DIR", folder.path());
}

int run(int argc, char** argv) {
  const test::TemporaryFolder folder;
  settleIn(folder);
  const int output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
  const UniqueFd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  ::dup2(nowhere.get(), STDOUT_FILENO);  // The log of the agent's parts is not for the reader.
  benchmark::Initialize(&argc, argv);
  addCommandBenchmarks();
  addRowBenchmarks();
  addConsoleBenchmarks();
  addMenuBenchmark();
  addIdleAgentBenchmark();
  benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
  reporter.SetOutputStream(&std::cerr);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  ::dprintf(output, "%s", table().c_str());
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quorvel::benchmarks

int main(int argc, char** argv) { return quorvel::benchmarks::run(argc, argv); }
