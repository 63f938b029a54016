#include "Tools/defaults/PasswordInput.hpp"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// Whoever presses Ctrl-C at the prompt must get a terminal back that shows what is typed: the
// signals wait until the echo is on again.
class HiddenInput {
 public:
  HiddenInput() {
    sigset_t keys;
    ::sigemptyset(&keys);
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGTSTP}) {
      ::sigaddset(&keys, signal);
    }
    ::sigprocmask(SIG_BLOCK, &keys, &signals_);  // NOLINT(concurrency-mt-unsafe): one thread
    ::tcgetattr(STDIN_FILENO, &settings_);
    termios hidden = settings_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    // Ctrl-C ends the line here instead of sending a signal that nobody would see till then.
    hidden.c_cc[VEOL] = hidden.c_cc[VINTR];
    hidden.c_cc[VINTR] = 0;
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  ~HiddenInput() {
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &settings_);
    ::sigprocmask(SIG_SETMASK, &signals_, nullptr);  // NOLINT(concurrency-mt-unsafe)
  }
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;

  [[nodiscard]] char interruptKey() const { return static_cast<char>(settings_.c_cc[VINTR]); }

 private:
  termios settings_{};
  sigset_t signals_{};
};

// One read; empty at the end.
std::string readSome() {
  std::array<char, 4096> block{};
  while (true) {
    const ssize_t count = ::read(STDIN_FILENO, block.data(), block.size());
    if (count >= 0) {
      return {block.data(), static_cast<std::size_t>(count)};
    }
    if (errno != EINTR) {
      throw ToolError(errorText("defaults: standard input cannot be read") +
                      ". Pipe the value into the command, or type it.");
    }
  }
}

std::string readAll() {
  std::string content;
  for (std::string part = readSome(); !part.empty(); part = readSome()) {
    content += part;
  }
  return content;
}

std::string readHiddenLine() {
  printError("Value (not shown): ");
  const HiddenInput hidden;
  std::string line = readSome();
  printError("\n");
  if (line.empty() || line.back() == hidden.interruptKey()) {
    throw ToolError("defaults: nothing was entered, so nothing was changed.");
  }
  return line;
}

}  // namespace

std::string readSecret() {
  std::string content = ::isatty(STDIN_FILENO) == 1 ? readHiddenLine() : readAll();
  if (content.ends_with('\n')) {
    content.pop_back();
  }
  return content;
}

}  // namespace quorvel
