#include "Tools/statusmenu/Prompt.hpp"

#include <poll.h>
#include <unistd.h>

#include <sys/signalfd.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// The signals to end, readable from a descriptor as long as this lives.
class EndSignals {
 public:
  EndSignals() {
    ::sigemptyset(&signals_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      ::sigaddset(&signals_, signal);
    }
    ::sigprocmask(SIG_BLOCK, &signals_, &before_);  // NOLINT(concurrency-mt-unsafe): one thread
    source_.reset(::signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK));
  }
  ~EndSignals() {
    ::sigprocmask(SIG_SETMASK, &before_, nullptr);  // NOLINT(concurrency-mt-unsafe)
  }
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

  [[nodiscard]] int descriptor() const { return source_.get(); }
  [[nodiscard]] int take() const {
    signalfd_siginfo info{};
    const ssize_t size = ::read(source_.get(), &info, sizeof info);
    return size == static_cast<ssize_t>(sizeof info) ? static_cast<int>(info.ssi_signo) : 0;
  }

 private:
  sigset_t signals_{};
  sigset_t before_{};
  UniqueFd source_;
};

[[noreturn]] void failReading() {
  throw ToolError(errorText("statusmenu: the terminal cannot be read"));
}

void waitForEither(int input, int signals) {
  std::array<pollfd, 2> waited{pollfd{.fd = input, .events = POLLIN, .revents = 0},
                               pollfd{.fd = signals, .events = POLLIN, .revents = 0}};
  while (::poll(waited.data(), waited.size(), -1) < 0) {
    if (errno != EINTR) {
      failReading();
    }
  }
}

// A terminal hands out one line a read. Nothing, where a line feed would be, is the end of the
// input.
std::string readLine() {
  std::array<char, 4096> block{};
  const ssize_t count = ::read(STDIN_FILENO, block.data(), block.size());
  if (count < 0) {
    failReading();
  }
  if (count == 0) {
    print("\n");
  }
  const std::string line(block.data(), static_cast<std::size_t>(count));
  return line.substr(0, line.find('\n'));
}

}  // namespace

Answer ask(std::string_view question) {
  print(question);
  static_cast<void>(std::fflush(stdout));
  const EndSignals signals;
  waitForEither(STDIN_FILENO, signals.descriptor());
  const int signal = signals.take();
  if (signal != 0) {
    print("\n");
    return {.line = "", .signal = signal};
  }
  return {.line = readLine()};
}

}  // namespace quorvel
