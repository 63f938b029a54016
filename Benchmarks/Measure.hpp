// Two ways of doing the same thing, measured side by side: on a shared machine only their ratio
// means something.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::benchmarks {

/// In seconds.
struct Cost {
  double wall = 0;
  double cpu = 0;
};

/// What `work` costs; CPU time is that of this process and of the children that `work` started.
/// Children that it leaves behind are waited for, outside the wall time, until they are collected;
/// so there must be no others.
Cost costOf(const std::function<void()>& work);
/// The wall time alone, whatever children there are.
double wallTimeOf(const std::function<void()>& work);

/// Runs a program the shortest way that there is (posix_spawn, both outputs read to their ends,
/// wait4), in a session of its own, as commands are; std::system_error when it does not start. CPU
/// time is the child's.
Cost runProcess(std::vector<std::string> command);

/// `ours` and `theirs` are measured in turns, `pairs` times each, for one ratio of their medians. A
/// goal is text for the table; without one there is no row for that ratio.
struct Comparison {
  std::string what;
  int pairs = 1;
  std::function<Cost()> ours;
  std::function<Cost()> theirs;
  std::string wallGoal;
  std::string cpuGoal;
};
/// Prints the rows to what was standard output when the program started.
void compare(const Comparison& comparison);

void measureCommands(const test::StandInMachine& machine);
void measureListing(const test::StandInMachine& machine);
void measureRows(const test::StandInMachine& machine);
void measureLog(const test::StandInMachine& machine);
void measureMenu(const test::StandInMachine& machine);

}  // namespace quorvel::benchmarks
