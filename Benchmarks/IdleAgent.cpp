// What the agent costs while nothing happens: memory, and processor time between two scans.
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
  std::vector<double> pauses;
  std::vector<double> memory;
  for (int repetition = 0; isIdle && repetition < kRepetitions; ++repetition) {
    isIdle = machine.scansOn(1);
    std::this_thread::sleep_for(300ms);  // Until the agent has taken note of the answer.
    const double before = microseconds(std::stoi(agent.pid()));
    std::this_thread::sleep_for(1900ms);
    pauses.push_back(microseconds(std::stoi(agent.pid())) - before);
    memory.push_back(memoryMiB(agent.pid()));
  }
  if (!isIdle) {
    throw std::runtime_error("The agent does not scan: " + agent.errors());
  }
  print("Idle agent, CPU time between two scans, in microseconds", pauses, "0");
  print("Idle agent with its menu on the bus, memory (Pss) in MiB", memory, "at most 8");
}

}  // namespace quorvel::benchmarks
