// Two ways of doing the same thing, measured side by side: on a shared machine only their ratio
// means something.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace benchmark {
class State;
}

namespace quorvel::benchmarks {

/// In seconds.
struct Cost {
  double wall = 0;
  double cpu = 0;
};

/// What `work` costs; CPU time is that of this process and of the children that `work` started.
/// Children that it leaves behind are waited for, outside the wall time, until they are collected.
Cost costOf(const std::function<void()>& work);

/// Starts a program in a session of its own, as commands are, and otherwise as bare as can be;
/// std::system_error when that fails.
pid_t spawn(std::vector<std::string> command, int output, int error);
/// Runs a program the shortest way that there is (posix_spawn, both outputs read to their ends,
/// wait4). CPU time is the child's.
Cost runProcess(const std::vector<std::string>& command);

/// A child that runs as long as its owner lives.
class Background {
 public:
  explicit Background(pid_t pid) : pid_(pid) {}
  ~Background();
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

  /// utime + stime in seconds, finer than in clock ticks.
  [[nodiscard]] double processorTime() const;
  [[nodiscard]] double memoryMiB() const;
  /// What `work` costs; CPU time is that of the child alone.
  [[nodiscard]] Cost costOf(const std::function<void()>& work) const;

 private:
  pid_t pid_;
};

/// A repetition measures `ours` and `theirs` in turns, `pairs` times each, and gives the ratio of
/// the medians. A goal is text for the table; without one there is no row for that ratio.
struct Comparison {
  std::string what;
  int pairs = 1;
  std::function<Cost()> ours;
  std::function<Cost()> theirs;
  std::string wallGoal;
  std::string cpuGoal;
};
void add(const Comparison& comparison);
/// One repetition, for benchmarks that have something to prepare; `pairs` is the state's affair.
void compare(benchmark::State& state, const Comparison& comparison);

/// How often every figure is taken: a row of the table shows their median and their spread.
inline constexpr int kRepetitions = 5;
/// Notes a figure for the table.
void record(const std::string& what, double figure, const std::string& goal);
[[nodiscard]] std::string table();

void addCommandBenchmarks();
void addRowBenchmarks();
void addConsoleBenchmarks();
void addIdleAgentBenchmark();
void addMenuBenchmark();

/// Returns when the agent's menu is on the session bus; std::runtime_error when it does not come.
void awaitAgentsMenu();

}  // namespace quorvel::benchmarks
