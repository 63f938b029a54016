#include "Tools/Library/Privilege.hpp"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

}  // namespace

bool isRoot() { return ::geteuid() == 0; }

void requireRoot(const std::string& task) {
  if (!isRoot()) {
    throw NeedsRoot("Only root may " + task + ". Run the command with sudo.");
  }
}

void distrustCaller() {
  if (!isRoot()) {
    return;
  }
  ::clearenv();  // NOLINT(concurrency-mt-unsafe): there are no threads yet.
  ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);  // NOLINT(concurrency-mt-unsafe)
  ::umask(S_IWGRP | S_IWOTH);
  ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
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

UniqueFd lockVolumes(Wait wait) {
  UniqueFd lock(::open(kLock, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!lock) {
    throw ToolError(errorText(std::string("The lock file ") + kLock + " cannot be opened") +
                    ". See that /run is there and writable.");
  }
  const int operation = wait == Wait::yes ? LOCK_EX : LOCK_EX | LOCK_NB;
  int result = 0;
  do {
    result = ::flock(lock.get(), operation);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? std::move(lock) : UniqueFd();
}

}  // namespace quorvel
