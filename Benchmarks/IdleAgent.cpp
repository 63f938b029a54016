// What the agent costs while nothing happens: memory, and processor time between two scans.
#include <benchmark/benchmark.h>

#include <ctime>
#include <thread>

#include "Benchmarks/Measure.hpp"
#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"

namespace quorvel::benchmarks {
namespace {

using namespace std::chrono_literals;

/// utime + stime, finer than in clock ticks.
double microseconds(pid_t process) {
  clockid_t clock{};
  ::clock_getcpuclockid(process, &clock);
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) * 1e-3;
}

double memoryMiB(const std::string& process) {
  const auto rollup = test::readFile("/proc/" + process + "/smaps_rollup");
  return std::stod(rollup.substr(rollup.find("Pss:") + 4)) / 1024;
}

}  // namespace

void measureIdleAgent(const test::StandInMachine& machine) {
  const test::Session session;
  const test::Agent agent(machine, "");
  bool isIdle = test::Panel().seesAgent() && machine.scansOn(2);  // The first examines the disk.
  const Figure pause{.what = "Idle agent, CPU time between two scans, in microseconds",
                     .goal = "0"};
  const Figure memory{.what = "Idle agent with its menu on the bus, memory (Pss) in MiB",
                      .goal = "at most 8"};
  measure({pause, memory}, 1, [&](benchmark::State& state) {
    for ([[maybe_unused]] const auto step : state) {
      isIdle = isIdle && machine.scansOn(1);
      std::this_thread::sleep_for(300ms);  // Until the agent has taken note of the answer.
      const double before = microseconds(std::stoi(agent.pid()));
      std::this_thread::sleep_for(1900ms);
      state.counters[pause.what] = microseconds(std::stoi(agent.pid())) - before;
      state.counters[memory.what] = memoryMiB(agent.pid());
    }
  });
  if (!isIdle) {
    throw std::runtime_error("The agent does not scan: " + agent.errors());
  }
}

}  // namespace quorvel::benchmarks
