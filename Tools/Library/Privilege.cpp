#include "Tools/Library/Privilege.hpp"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/CapturedRun.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr const char* kSudo = "/usr/bin/sudo";
constexpr const char* kLock = "/run/quorvel-volumes.lock";

// sudo's own complaints begin so; ours never do.
bool isRefusal(const CapturedRun& run) { return run.status == 1 && run.text.starts_with("sudo: "); }

std::string refusal(const std::string& words) {
  return "sudo does not let you run \"" + words +
         "\" without a password. Ask an administrator to install the sudo rules that come "
         "with this program and to make you a member of the group they name, or run the "
         "command with sudo.";
}

std::string noSudo(const std::string& words) {
  return errorText("\"" + words + "\" needs root, and /usr/bin/sudo cannot be started") +
         ". Install sudo, or run the command as root.";
}

struct RootCommand {
  std::vector<std::string> arguments;  ///< Of sudo.
  std::string words;                   ///< For messages.
};

RootCommand thisProgram(const std::vector<std::string>& arguments) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  RootCommand command{.arguments = {"-n", "--", self}, .words = self};
  for (const std::string& argument : arguments) {
    command.arguments.push_back(argument);
    command.words += ' ' + argument;
  }
  return command;
}

// Otherwise the first file to be opened would take the place of one, and our words would go there.
void openStandardStreams() {
  UniqueFd nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  while (nothing && nothing.get() <= STDERR_FILENO) {
    static_cast<void>(nothing.release());
    nothing = UniqueFd(::open("/dev/null", O_RDWR | O_CLOEXEC));
  }
}

// The driver keeps its limits as long as the volume is mounted, whoever uses it.
void takeUsualLimits() {
  struct Limit {
    __rlimit_resource resource;
    rlim_t value;
  };
  constexpr std::array kLimits{
      Limit{RLIMIT_AS, RLIM_INFINITY},    Limit{RLIMIT_CORE, 0},
      Limit{RLIMIT_CPU, RLIM_INFINITY},   Limit{RLIMIT_DATA, RLIM_INFINITY},
      Limit{RLIMIT_FSIZE, RLIM_INFINITY}, Limit{RLIMIT_NOFILE, 1024},
      Limit{RLIMIT_STACK, 8UL << 20U},
  };
  for (const Limit& limit : kLimits) {
    const rlimit both{.rlim_cur = limit.value, .rlim_max = limit.value};
    ::setrlimit(limit.resource, &both);
  }
}

// A terminal or a pipe may take nothing for as long as its owner likes.
void printAtTheEnd() {
  static std::array<char, std::size_t{128} * 1024> errors;  // Holds all that a driver may say.
  static_cast<void>(std::setvbuf(stderr, errors.data(), _IOFBF, errors.size()));
  static_cast<void>(std::setvbuf(stdout, nullptr, _IOFBF, 0));
}

}  // namespace

bool isRoot() { return ::geteuid() == 0; }

void requireRoot(const std::string& task) {
  if (!isRoot()) {
    throw NeedsRoot("Only root may " + task + ". Run the command with sudo.");
  }
}

void distrustCaller() {
  openStandardStreams();
  static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
  if (!isRoot()) {
    return;
  }
  ::clearenv();  // NOLINT(concurrency-mt-unsafe): there are no threads yet.
  ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);  // NOLINT(concurrency-mt-unsafe)
  ::umask(S_IWGRP | S_IWOTH);
  ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
  takeUsualLimits();
  printAtTheEnd();
}

std::optional<int> runAgainAsRoot(const std::vector<std::string>& arguments) {
  const RootCommand command = thisProgram(arguments);
  const auto run = runCapturingErrors(kSudo, command.arguments);
  if (!run) {
    printError(noSudo(command.words) + "\n");
    return std::nullopt;
  }
  printError(run->text);
  if (isRefusal(*run)) {
    printError(refusal(command.words) + "\n");
    return std::nullopt;
  }
  return run->status;
}

std::optional<std::string> askAsRoot(const std::vector<std::string>& arguments) {
  const RootCommand command = thisProgram(arguments);
  const auto run = runCapturingAll(kSudo, command.arguments);
  if (!run) {
    throw ToolError(noSudo(command.words));
  }
  if (isRefusal(*run)) {
    throw ToolError(run->text + refusal(command.words));
  }
  return run->status == 0 ? std::optional(run->text) : std::nullopt;
}

VolumesLock::VolumesLock(Wait wait)
    : file_(::open(kLock, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR)) {
  if (!file_) {
    throw ToolError(errorText(std::string("The lock file ") + kLock + " cannot be opened") +
                    ". See that /run is there and writable.");
  }
  const int operation = wait == Wait::yes ? LOCK_EX : LOCK_EX | LOCK_NB;
  int result = 0;
  do {
    result = ::flock(file_.get(), operation);
  } while (result != 0 && errno == EINTR);
  if (result != 0) {
    file_.reset();
  }
  sigset_t all;
  ::sigfillset(&all);
  ::sigprocmask(SIG_BLOCK, &all, &signals_);  // NOLINT(concurrency-mt-unsafe): one thread
}

VolumesLock::~VolumesLock() {
  file_.reset();
  ::sigprocmask(SIG_SETMASK, &signals_, nullptr);  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace quorvel
