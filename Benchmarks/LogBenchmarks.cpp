// What a log entry costs beyond writing its bytes to standard output and to a file.
#include <fcntl.h>
#include <unistd.h>

#include "Benchmarks/Measure.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Shared/Console.hpp"

namespace quorvel::benchmarks {
namespace {

constexpr int kEntries = 2'000;
constexpr FunctionLog kLog{"mount()"};

void logOne() { kLog({"remove disk2s1"}); }

}  // namespace

void measureLog(const test::StandInMachine& machine) {
  const std::string path = machine.home() / "Quorvel_Helper.txt";
  logOne();
  const std::string entry = test::readFile(path);
  const UniqueFd file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  const auto writeOne = [&] {
    static_cast<void>(::write(STDOUT_FILENO, entry.data(), entry.size()));
    static_cast<void>(::write(file.get(), entry.data(), entry.size()));
  };
  const auto times = [&](const std::function<void()>& log) {
    return [&, log] {
      static_cast<void>(::ftruncate(STDOUT_FILENO, 0));
      static_cast<void>(::ftruncate(file.get(), 0));
      return costOf([&] {
        for (int i = 0; i < kEntries; ++i) {
          log();
        }
      });
    };
  };
  compare({.what = "`Console.log` of a text : two writes",
           .pairs = 50,
           .ours = times(logOne),
           .theirs = times(writeOne),
           .wallGoal = "at most 1.25",
           .cpuGoal = ""});
}

}  // namespace quorvel::benchmarks
