#include "Tools/defaults/Secret.hpp"

#include <termios.h>
#include <unistd.h>

#include <array>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/PropertyList.hpp"
#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// The terminal shows nothing of what is typed. Its keys send no signal, so that nobody gets it back
// like that: Ctrl-C ends the line.
class HiddenInput {
 public:
  HiddenInput() {
    ::tcgetattr(STDIN_FILENO, &settings_);
    termios hidden = settings_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    hidden.c_cc[VEOL] = settings_.c_cc[VINTR];
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  ~HiddenInput() { ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &settings_); }
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;

  // A terminal hands out one line a read.
  [[nodiscard]] std::string line() const {
    std::array<char, 4096> block{};
    const ssize_t count = ::read(STDIN_FILENO, block.data(), block.size());
    return {block.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
  }
  [[nodiscard]] char interruptKey() const { return static_cast<char>(settings_.c_cc[VINTR]); }

 private:
  termios settings_{};
};

std::string askForLine() {
  printError("Value (not shown): ");
  const HiddenInput hidden;
  std::string line = hidden.line();
  printError("\n");
  if (line.empty() || line.back() == hidden.interruptKey()) {
    throw ToolError("defaults: nothing was entered, so nothing was changed.");
  }
  return line;
}

std::string readPipe() {
  auto content = readAll(STDIN_FILENO, kLargestPropertyList);
  if (!content) {
    throw ToolError(errorText("defaults: standard input cannot be read") +
                    ". Pipe the value into the command, or type it.");
  }
  return *std::move(content);
}

}  // namespace

std::string readSecret() {
  std::string content = ::isatty(STDIN_FILENO) == 1 ? askForLine() : readPipe();
  if (content.ends_with('\n')) {
    content.pop_back();
  }
  return content;
}

}  // namespace quorvel
