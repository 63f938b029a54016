// What a log entry costs beyond writing its bytes to standard output and to a file.
#include <fcntl.h>
#include <unistd.h>

#include "Benchmarks/Measure.hpp"
#include "Platform/Foundation/NSPathUtilities.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Shared/Console.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::benchmarks {
namespace {

constexpr int kEntries = 2'000;
constexpr FunctionLog kLog{"mount()"};

std::string logFile() { return NSHomeDirectory() + "/Quorvel_Helper.txt"; }

/// While it lives, standard output goes to a file beside the log; both files are empty at first.
class RedirectedOutput {
 public:
  RedirectedOutput() {
    const std::string path = NSHomeDirectory() + "/output";
    const UniqueFd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    ::dup2(file.get(), STDOUT_FILENO);
    static_cast<void>(::truncate(logFile().c_str(), 0));
  }
  ~RedirectedOutput() { ::dup2(output_.get(), STDOUT_FILENO); }
  RedirectedOutput(const RedirectedOutput&) = delete;
  RedirectedOutput& operator=(const RedirectedOutput&) = delete;

 private:
  UniqueFd output_{::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)};
};

Cost logEntries(const std::function<void()>& log) {
  const RedirectedOutput redirected;
  return costOf([&] {
    for (int i = 0; i < kEntries; ++i) {
      log();
    }
  });
}

Cost writeEntries(const std::string& entry) {
  const RedirectedOutput redirected;
  const UniqueFd file(::open(logFile().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  return costOf([&] {
    for (int i = 0; i < kEntries; ++i) {
      static_cast<void>(::write(STDOUT_FILENO, entry.data(), entry.size()));
      static_cast<void>(::write(file.get(), entry.data(), entry.size()));
    }
  });
}

void logOne() { kLog({"remove disk2s1"}); }

std::string bytesOfOne() {
  const RedirectedOutput redirected;
  logOne();
  return test::readFile(logFile());
}

}  // namespace

void addConsoleBenchmarks() {
  add({.what = "Console.log of a text : two writes",
       .pairs = 50,
       .ours = [] { return logEntries(logOne); },
       .theirs = [entry = bytesOfOne()] { return writeEntries(entry); },
       .wallGoal = "at most 1.25",
       .cpuGoal = ""});
}

}  // namespace quorvel::benchmarks
