// What the agent costs while nothing happens: memory, and processor time between two scans.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <thread>

#include "Benchmarks/Measure.hpp"
#include "Platform/Foundation/NSPathUtilities.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::benchmarks {
namespace {

using namespace std::chrono_literals;

/// The built agent, among the stand-ins.
class Agent {
 public:
  Agent() = default;
  ~Agent() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// utime + stime, finer than in clock ticks.
  [[nodiscard]] double processorMicroseconds() const {
    clockid_t clock{};
    timespec time{};
    ::clock_getcpuclockid(pid_, &clock);
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) * 1e-3;
  }
  [[nodiscard]] double memoryMiB() const {
    const auto rollup = test::readFile("/proc/" + std::to_string(pid_) + "/smaps_rollup");
    return std::stod(rollup.substr(rollup.find("Pss:") + 4)) / 1024;
  }

 private:
  const pid_t pid_ = spawn({QUORVEL_BUILD_FOLDER "/QuorvelHelper.app/Contents/MacOS/QuorvelHelper"},
                           STDOUT_FILENO, STDERR_FILENO);
};

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
  const Agent agent;
  bool isScanning = nextScanEnds();  // The first examines the disk.
  for ([[maybe_unused]] const auto step : state) {
    isScanning = isScanning && nextScanEnds();
    if (!isScanning) {
      state.SkipWithError("The agent does not scan.");
      break;
    }
    const double before = agent.processorMicroseconds();
    std::this_thread::sleep_for(1900ms);
    const double pause = agent.processorMicroseconds() - before;
    record("Idle agent, CPU time between two scans in microseconds", pause, "0");
    record("Idle agent, memory (Pss) in MiB", agent.memoryMiB(), "at most 6");
  }
}

}  // namespace

void addIdleAgentBenchmark() {
  benchmark::RegisterBenchmark("Idle agent", measureIdleAgent)->Iterations(kRepetitions);
}

}  // namespace quorvel::benchmarks
