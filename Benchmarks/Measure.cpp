#include "Benchmarks/Measure.hpp"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <system_error>
#include <thread>

#include "Platform/Foundation/NSPipe.hpp"

namespace quorvel::benchmarks {
namespace {

/// How often every figure is taken: a row of the table shows their median and their spread.
constexpr int kRepetitions = 5;
constexpr const char* kWallTime = "wall time";
constexpr const char* kCpuTime = "CPU time";
/// Rows go to what was standard output when the program started.
const int kTable = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);

double seconds(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double cpuSeconds(const rusage& usage) {
  const auto micros = static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + micros * 1e-6;
}

double childrenSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  return cpuSeconds(usage);
}

/// Returns when all children have been collected, by whomever; how much CPU time the waiting took.
double waitForChildren() {
  const double begin = seconds(CLOCK_THREAD_CPUTIME_ID);
  siginfo_t info{};
  while (::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0) {
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  return seconds(CLOCK_THREAD_CPUTIME_ID) - begin;
}

pid_t spawn(std::vector<std::string> command, NSPipe& output, NSPipe& error) {
  std::vector<char*> pointers;
  pointers.reserve(command.size() + 1);
  for (std::string& text : command) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, output.fileHandleForWriting().fileDescriptor(), 1);
  ::posix_spawn_file_actions_adddup2(&actions, error.fileHandleForWriting().fileDescriptor(), 2);
  posix_spawnattr_t attributes;  // On a busy machine the scheduler treats each session alike.
  ::posix_spawnattr_init(&attributes);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
  pid_t pid = -1;
  const int problem =
      ::posix_spawnp(&pid, pointers[0], &actions, &attributes, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::posix_spawnattr_destroy(&attributes);
  if (problem != 0) {
    throw std::system_error(problem, std::generic_category(), "cannot start " + command.front());
  }
  return pid;
}

void readToEnd(NSPipe& pipe) {
  std::array<char, 65536> block;  // NOLINT(*-member-init): nothing of it is used.
  pipe.fileHandleForWriting().closeFile();
  while (::read(pipe.fileHandleForReading().fileDescriptor(), block.data(), block.size()) > 0) {
  }
}

double median(std::vector<Cost> costs, double Cost::*kind) {
  const auto middle = costs.begin() + static_cast<std::ptrdiff_t>(costs.size() / 2);
  std::ranges::nth_element(costs, middle, {}, kind);
  return (*middle).*kind;
}

double lowest(const std::vector<double>& figures) { return std::ranges::min(figures); }
double highest(const std::vector<double>& figures) { return std::ranges::max(figures); }

/// The rows of the table that come of a comparison.
class Rows : public benchmark::BenchmarkReporter {
 public:
  explicit Rows(const Comparison& comparison) : comparison_(comparison) {}

  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& aggregates) override {
    print(aggregates, kWallTime, comparison_.wallGoal);
    print(aggregates, kCpuTime, comparison_.cpuGoal);
  }

 private:
  void print(const std::vector<Run>& aggregates, const std::string& kind, const std::string& goal) {
    const auto figure = [&](std::string_view statistic) {
      return std::ranges::find(aggregates, statistic, &Run::aggregate_name)
          ->counters.at(kind)
          .value;
    };
    if (!goal.empty()) {
      ::dprintf(kTable, "| %s, %s | %.2f (%.2f to %.2f) | %s |\n", comparison_.what.c_str(),
                kind.c_str(), figure("median"), figure("lowest"), figure("highest"), goal.c_str());
    }
  }

  const Comparison& comparison_;
};

/// One repetition.
void measure(benchmark::State& state, const Comparison& comparison) {
  std::vector<Cost> ours;
  std::vector<Cost> theirs;
  for ([[maybe_unused]] const auto pair : state) {
    const bool isOursFirst = ours.size() % 2 == 0;  // In turns: the second finds the caches warm.
    for (const bool isOurs : {isOursFirst, !isOursFirst}) {
      (isOurs ? ours : theirs).push_back(isOurs ? comparison.ours() : comparison.theirs());
    }
    state.SetIterationTime(ours.back().wall);
  }
  state.counters[kWallTime] = median(ours, &Cost::wall) / median(theirs, &Cost::wall);
  state.counters[kCpuTime] = median(ours, &Cost::cpu) / median(theirs, &Cost::cpu);
}

}  // namespace

double wallTimeOf(const std::function<void()>& work) {
  const double begin = seconds(CLOCK_MONOTONIC);
  work();
  return seconds(CLOCK_MONOTONIC) - begin;
}

Cost costOf(const std::function<void()>& work) {
  const double children = childrenSeconds();
  const double self = seconds(CLOCK_PROCESS_CPUTIME_ID);
  const double wall = wallTimeOf(work);
  const double waiting = waitForChildren();
  return {.wall = wall,
          .cpu = seconds(CLOCK_PROCESS_CPUTIME_ID) - self - waiting + childrenSeconds() - children};
}

Cost runProcess(std::vector<std::string> command) {
  rusage usage{};
  const double wall = wallTimeOf([&] {
    NSPipe output;
    NSPipe error;
    const pid_t pid = spawn(std::move(command), output, error);
    readToEnd(output);
    readToEnd(error);
    ::wait4(pid, nullptr, 0, &usage);
  });
  return {.wall = wall, .cpu = cpuSeconds(usage)};
}

void compare(const Comparison& comparison) {
  std::cerr << comparison.what << "\n";
  comparison.ours();  // The first time does what later ones find done.
  comparison.theirs();
  benchmark::RegisterBenchmark(comparison.what.c_str(), measure, comparison)
      ->Iterations(comparison.pairs)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly()
      ->ComputeStatistics("lowest", lowest)
      ->ComputeStatistics("highest", highest)
      ->UseManualTime();
  Rows rows(comparison);
  benchmark::RunSpecifiedBenchmarks(&rows);
  benchmark::ClearRegisteredBenchmarks();
}

}  // namespace quorvel::benchmarks
