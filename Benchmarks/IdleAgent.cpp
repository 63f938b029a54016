// What the agent costs while nothing happens: memory, and processor time between two scans.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "Benchmarks/Measure.hpp"
#include "Platform/Foundation/NSPathUtilities.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::benchmarks {
namespace {

using namespace std::chrono_literals;

/// The stand-in for the last command of a scan adds a byte to that file.
std::uintmax_t scanCount() {
  std::error_code none;
  return std::filesystem::file_size(NSHomeDirectory() + "/scans", none);
}

bool nextScanEnds() {
  const auto before = scanCount();
  const bool hasCome = test::eventually([before] { return scanCount() > before; });
  std::this_thread::sleep_for(300ms);  // Until the agent has taken note of the answer.
  return hasCome;
}

void measureIdleAgent(benchmark::State& state) {
  const Background agent(spawn({QUORVEL_AGENT}, STDOUT_FILENO, STDERR_FILENO));
  awaitAgentsMenu();
  bool isScanning = nextScanEnds();  // The first examines the disk.
  for ([[maybe_unused]] const auto step : state) {
    isScanning = isScanning && nextScanEnds();
    if (!isScanning) {
      state.SkipWithError("The agent does not scan.");
      break;
    }
    const Cost pause = agent.costOf([] { std::this_thread::sleep_for(1900ms); });
    record("Idle agent, CPU time between two scans in microseconds", pause.cpu * 1e6, "0");
    record("Idle agent with its menu on the bus, memory (Pss) in MiB", agent.memoryMiB(),
           "at most 8");
  }
}

}  // namespace

void addIdleAgentBenchmark() {
  benchmark::RegisterBenchmark("Idle agent", measureIdleAgent)->Iterations(kRepetitions);
}

}  // namespace quorvel::benchmarks
