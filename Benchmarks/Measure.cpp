#include "Benchmarks/Measure.hpp"

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <system_error>
#include <thread>

#include "Platform/Foundation/NSPipe.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::benchmarks {
namespace {

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

void readToEnd(NSPipe& pipe) {
  std::array<char, 65536> block;  // NOLINT(*-member-init): nothing of it is used.
  pipe.fileHandleForWriting().closeFile();
  while (::read(pipe.fileHandleForReading().fileDescriptor(), block.data(), block.size()) > 0) {
  }
}

double median(const std::vector<Cost>& costs, double Cost::*kind) {
  auto sorted = costs;
  std::sort(sorted.begin(), sorted.end(),
            [kind](const Cost& one, const Cost& other) { return one.*kind < other.*kind; });
  return sorted[sorted.size() / 2].*kind;
}

struct Row {
  std::string what;
  std::string goal;
  std::vector<double> figures;
};

std::vector<Row>& rows() {
  static auto* const instance = new std::vector<Row>;
  return *instance;
}

}  // namespace

Cost costOf(const std::function<void()>& work) {
  const double children = childrenSeconds();
  const double self = seconds(CLOCK_PROCESS_CPUTIME_ID);
  const double begin = seconds(CLOCK_MONOTONIC);
  work();
  const double wall = seconds(CLOCK_MONOTONIC) - begin;
  const double waiting = waitForChildren();
  return {.wall = wall,
          .cpu = seconds(CLOCK_PROCESS_CPUTIME_ID) - self - waiting + childrenSeconds() - children};
}

pid_t spawn(std::vector<std::string> command, int output, int error) {
  std::vector<char*> pointers;
  pointers.reserve(command.size() + 1);
  for (std::string& text : command) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
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

Cost runProcess(const std::vector<std::string>& command) {
  const double begin = seconds(CLOCK_MONOTONIC);
  NSPipe output;
  NSPipe error;
  const pid_t pid = spawn(command, output.fileHandleForWriting().fileDescriptor(),
                          error.fileHandleForWriting().fileDescriptor());
  readToEnd(output);
  readToEnd(error);
  rusage usage{};
  ::wait4(pid, nullptr, 0, &usage);
  return {.wall = seconds(CLOCK_MONOTONIC) - begin, .cpu = cpuSeconds(usage)};
}

Background::~Background() {
  ::kill(pid_, SIGTERM);
  ::waitpid(pid_, nullptr, 0);
}

double Background::processorTime() const {
  clockid_t clock{};
  ::clock_getcpuclockid(pid_, &clock);
  return seconds(clock);
}

double Background::memoryMiB() const {
  const auto rollup = test::readFile("/proc/" + std::to_string(pid_) + "/smaps_rollup");
  return std::stod(rollup.substr(rollup.find("Pss:") + 4)) / 1024;
}

Cost Background::costOf(const std::function<void()>& work) const {
  const double cpu = processorTime();
  const double begin = seconds(CLOCK_MONOTONIC);
  work();
  const double wall = seconds(CLOCK_MONOTONIC) - begin;
  return {.wall = wall, .cpu = processorTime() - cpu};
}

void compare(benchmark::State& state, const Comparison& comparison) {
  comparison.ours();  // The first time does what later ones find done.
  comparison.theirs();
  std::vector<Cost> ours;
  std::vector<Cost> theirs;
  for ([[maybe_unused]] const auto step : state) {
    const bool isOursFirst = ours.size() % 2 == 0;  // In turns: the second finds the caches warm.
    for (const bool isOurs : {isOursFirst, !isOursFirst}) {
      (isOurs ? ours : theirs).push_back(isOurs ? comparison.ours() : comparison.theirs());
    }
    state.SetIterationTime(ours.back().wall);
  }
  const double wall = median(ours, &Cost::wall) / median(theirs, &Cost::wall);
  const double cpu = median(ours, &Cost::cpu) / median(theirs, &Cost::cpu);
  state.counters["wall ratio"] = wall;
  state.counters["CPU ratio"] = cpu;
  record(comparison.what + ", wall time", wall, comparison.wallGoal);
  record(comparison.what + ", CPU time", cpu, comparison.cpuGoal);
}

void add(const Comparison& comparison) {
  const auto run = [comparison](benchmark::State& state) { compare(state, comparison); };
  benchmark::RegisterBenchmark(comparison.what.c_str(), run)
      ->Iterations(comparison.pairs)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly()
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
}

void record(const std::string& what, double figure, const std::string& goal) {
  if (goal.empty()) {
    return;
  }
  auto row = std::find_if(rows().begin(), rows().end(),
                          [&what](const Row& known) { return known.what == what; });
  if (row == rows().end()) {
    row = rows().insert(row, {.what = what, .goal = goal, .figures = {}});
  }
  row->figures.push_back(figure);
}

std::string table() {
  std::string text = "\n| what | measured (lowest to highest) | goal |\n|---|---|---|\n";
  for (Row& row : rows()) {
    auto& figures = row.figures;
    std::sort(figures.begin(), figures.end());
    std::array<char, 64> cell{};
    static_cast<void>(std::snprintf(cell.data(), cell.size(), "%.2f (%.2f to %.2f)",
                                    figures[figures.size() / 2], figures.front(), figures.back()));
    text.append("| ").append(row.what).append(" | ").append(cell.data());
    text.append(" | ").append(row.goal).append(" |\n");
  }
  return text;
}

}  // namespace quorvel::benchmarks
