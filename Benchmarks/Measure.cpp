#include "Benchmarks/Measure.hpp"

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

/// The ratios of one repetition.
Cost ratiosOf(const Comparison& comparison) {
  std::vector<Cost> ours;
  std::vector<Cost> theirs;
  for (int pair = 0; pair < comparison.pairs; ++pair) {
    const bool isOursFirst = pair % 2 == 0;  // In turns: the second finds the caches warm.
    for (const bool isOurs : {isOursFirst, !isOursFirst}) {
      (isOurs ? ours : theirs).push_back(isOurs ? comparison.ours() : comparison.theirs());
    }
  }
  return {.wall = median(ours, &Cost::wall) / median(theirs, &Cost::wall),
          .cpu = median(ours, &Cost::cpu) / median(theirs, &Cost::cpu)};
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
  comparison.ours();  // The first time does what later ones find done.
  comparison.theirs();
  std::vector<double> wall;
  std::vector<double> cpu;
  for (int repetition = 0; repetition < kRepetitions; ++repetition) {
    std::cerr << comparison.what << ": " << repetition + 1 << " of " << kRepetitions << "\n";
    const Cost ratios = ratiosOf(comparison);
    wall.push_back(ratios.wall);
    cpu.push_back(ratios.cpu);
  }
  if (!comparison.wallGoal.empty()) {
    print(comparison.what + ", wall time", wall, comparison.wallGoal);
  }
  if (!comparison.cpuGoal.empty()) {
    print(comparison.what + ", CPU time", cpu, comparison.cpuGoal);
  }
}

void print(const std::string& what, std::vector<double> figures, const std::string& goal) {
  std::sort(figures.begin(), figures.end());
  ::dprintf(kTable, "| %s | %.2f (%.2f to %.2f) | %s |\n", what.c_str(),
            figures[figures.size() / 2], figures.front(), figures.back(), goal.c_str());
}

}  // namespace quorvel::benchmarks
