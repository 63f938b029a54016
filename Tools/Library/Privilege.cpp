#include "Tools/Library/Privilege.hpp"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr const char* kSudo = "/usr/bin/sudo";

// Otherwise the first file to be opened would take the place of one, and our words would go there.
void openStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) < 0) {
      ::open("/dev/null", O_RDWR | O_CLOEXEC);  // The lowest number that is free is this one.
    }
  }
}

void limit(__rlimit_resource resource, rlim_t value) {
  const rlimit both{.rlim_cur = value, .rlim_max = value};
  ::setrlimit(resource, &both);
}

// The driver keeps its limits as long as the volume is mounted, whoever uses it.
void takeUsualLimits() {
  for (const auto resource : {RLIMIT_AS, RLIMIT_CPU, RLIMIT_DATA, RLIMIT_FSIZE}) {
    limit(resource, RLIM_INFINITY);
  }
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_NOFILE, 1024);
  limit(RLIMIT_STACK, 8UL << 20U);
}

void writeFile(const char* path, std::string_view text) {
  const UniqueFd file(::open(path, O_WRONLY | O_CLOEXEC));
  static_cast<void>(!file || ::write(file.get(), text.data(), text.size()) < 0);
}

// Whoever owns a control group may freeze and kill what is in it, and lets the system do so when a
// session ends. The folders are those of cgroup v2, alone and beside v1, and those of v1 that
// freeze or that the system's manager kills by.
void leaveCallersGroup() {
  for (const char* folder : {"/sys/fs/cgroup", "/sys/fs/cgroup/unified", "/sys/fs/cgroup/freezer",
                             "/sys/fs/cgroup/systemd"}) {
    writeFile((std::string(folder) + "/cgroup.procs").c_str(), "0");
  }
}

void takeUsualPriority() {
  constexpr int kWhoProcess = 1;  // linux/ioprio.h
  ::setpriority(PRIO_PROCESS, 0, 0);
  const sched_param parameters{};
  ::sched_setscheduler(0, SCHED_OTHER, &parameters);
  ::syscall(SYS_ioprio_set, kWhoProcess, 0, 0);
  writeFile("/proc/self/oom_score_adj", "0");
}

unsigned numberFrom(const char* variable) {
  const char* const text = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe)
  return text == nullptr ? 0 : parseNumber<unsigned>(text).value_or(0);
}

// A terminal or a pipe may take nothing for as long as its owner likes.
void printAtTheEnd() {
  static std::array<char, std::size_t{128} * 1024> errors;  // Holds all that a driver may say.
  static_cast<void>(std::setvbuf(stderr, errors.data(), _IOFBF, errors.size()));
  static_cast<void>(std::setvbuf(stdout, nullptr, _IOFBF, 0));
}

}  // namespace

bool isRoot() { return ::geteuid() == 0; }

const Caller& caller() {
  static const Caller found{.user = numberFrom("SUDO_UID"), .group = numberFrom("SUDO_GID")};
  return found;
}

void distrustCaller() {
  openStandardStreams();
  static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
  if (!isRoot()) {
    return;
  }
  static_cast<void>(caller());  // Before sudo's word is forgotten.
  ::clearenv();                 // NOLINT(concurrency-mt-unsafe): there are no threads yet.
  ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);  // NOLINT(concurrency-mt-unsafe)
  ::umask(S_IWGRP | S_IWOTH);
  ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
  takeUsualLimits();
  takeUsualPriority();
  leaveCallersGroup();
  printAtTheEnd();
}

CapturedRun runAgainAsRoot(const std::vector<std::string>& arguments, Capture what) {
  std::string words = std::filesystem::read_symlink("/proc/self/exe").string();
  ChildRequest request{.path = kSudo, .arguments = {"-n", "--", words}, .directory = {}};
  for (const std::string& argument : arguments) {
    request.arguments.push_back(argument);
    words += ' ' + argument;
  }
  auto run = runCapturing(std::move(request), what);
  if (!run) {
    throw ToolError(errorText("\"" + words + "\" needs root, and /usr/bin/sudo cannot be started") +
                    ". Install sudo, or run the command as root.");
  }
  // sudo's own complaints begin so; ours never do.
  if (run->status == 1 && run->text.starts_with("sudo: ")) {
    throw ToolError(run->text + "sudo does not let you run \"" + words +
                    "\" without a password. Ask an administrator to install the sudo rules that "
                    "come with this program and to make you a member of the group they name, or "
                    "run the command with sudo.");
  }
  return std::move(*run);
}

}  // namespace quorvel
