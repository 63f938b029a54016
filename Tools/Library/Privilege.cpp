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
bool isRefusal(const CapturedRun& run) {
  return run.status == 1 && run.errorText.starts_with("sudo: ");
}

void explainRefusal(const std::string& command) {
  printError("sudo does not let you run \"" + command +
             "\" without a password. Ask an administrator to install the sudo rules that come "
             "with this program and to make you a member of the group they name, or run the "
             "command with sudo.\n");
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
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  std::vector<std::string> command{"-n", "--", self};
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::string words = self;
  for (const std::string& argument : arguments) {
    words += ' ' + argument;
  }
  const auto run = runCapturingErrors(kSudo, command);
  if (!run) {
    printError(errorText("\"" + words + "\" needs root, and /usr/bin/sudo cannot be started") +
               ". Install sudo, or run the command as root.\n");
    return std::nullopt;
  }
  printError(run->errorText);
  if (isRefusal(*run)) {
    explainRefusal(words);
    return std::nullopt;
  }
  return run->status;
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
