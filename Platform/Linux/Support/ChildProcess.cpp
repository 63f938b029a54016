#include "Platform/Linux/Support/ChildProcess.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <thread>
#include <utility>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

/// What we were started with, whatever limit we set ourselves later.
const rlimit kInitialCoreLimit = []() noexcept {
  rlimit limit{};
  ::getrlimit(RLIMIT_CORE, &limit);
  return limit;
}();

/// As waitpid(2). We alone wait for our children: a number is not given again before that.
pid_t waitFor(pid_t pid, int* status, int options) {
  pid_t result = 0;
  do {
    result = ::waitpid(pid, status, options);
  } while (result < 0 && errno == EINTR);
  return result;
}

class SpawnAttributes {
 public:
  explicit SpawnAttributes(bool newSession) {
    ::posix_spawnattr_init(&attributes_);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    ::posix_spawnattr_setflags(
        &attributes_,
        static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                           (newSession ? POSIX_SPAWN_SETSID : POSIX_SPAWN_SETPGROUP)));
  }
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

class SpawnFileActions {
 public:
  explicit SpawnFileActions(const ChildRequest& request) {
    ::posix_spawn_file_actions_init(&actions_);
    connect(request.standardInput, STDIN_FILENO);
    connect(request.standardOutput, STDOUT_FILENO);
    connect(request.standardError, STDERR_FILENO);
    if (request.directory) {
      ::posix_spawn_file_actions_addchdir_np(&actions_, request.directory->c_str());
    }
  }
  ~SpawnFileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  SpawnFileActions(const SpawnFileActions&) = delete;
  SpawnFileActions& operator=(const SpawnFileActions&) = delete;
  [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  void connect(int from, int to) {
    if (from >= 0) {
      ::posix_spawn_file_actions_adddup2(&actions_, from, to);
    }
  }

  posix_spawn_file_actions_t actions_{};
};

bool holdsNul(const ChildRequest& request) {
  const auto cut = [](const std::string& text) { return text.find('\0') != std::string::npos; };
  return cut(request.path) || (request.directory && cut(*request.directory)) ||
         std::any_of(request.arguments.begin(), request.arguments.end(), cut);
}

std::vector<char*> argumentPointers(ChildRequest& request) {
  std::vector<char*> pointers{request.path.data()};
  for (std::string& argument : request.arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

std::optional<ChildProcess> ChildProcess::start(const ChildRequest& request) {
  if (holdsNul(request)) {
    errno = EINVAL;
    return std::nullopt;
  }
  ChildRequest copy = request;
  const SpawnFileActions actions(request);
  const SpawnAttributes attributes(request.newSession);
  pid_t pid = 0;
  errno = ::posix_spawnp(&pid, copy.path.c_str(), actions.get(), attributes.get(),
                         argumentPointers(copy).data(), environ);
  return errno == 0 ? std::optional(ChildProcess(pid)) : std::nullopt;
}

std::optional<ChildProcess> ChildProcess::startDetached(std::string program,
                                                        std::vector<std::string> arguments) {
  const UniqueFd nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  auto child = start({.path = std::move(program),
                      .arguments = std::move(arguments),
                      .directory = {},
                      .standardInput = nothing.get(),
                      .standardOutput = nothing.get(),
                      .standardError = nothing.get(),
                      .newSession = true});
  if (child) {
    ::prlimit(child->pid_, RLIMIT_CORE, &kInitialCoreLimit, nullptr);
  }
  return child;
}

ChildProcess::~ChildProcess() {
  if (collectIfEnded()) {
    return;
  }
  try {
    std::thread(waitFor, pid_, nullptr, 0).detach();
  } catch (const std::exception&) {
    // No thread or no memory can be had: the system collects the child when we end.
  }
}

void ChildProcess::terminate() {
  if (!collectIfEnded()) {
    ::kill(pid_, SIGTERM);
  }
}

void ChildProcess::killGroup() {
  if (pid_ != 0) {
    ::kill(-pid_, SIGKILL);
  }
}

bool ChildProcess::collectIfEnded() {
  if (pid_ != 0 && waitFor(pid_, nullptr, WNOHANG) != 0) {
    pid_ = 0;
  }
  return pid_ == 0;
}

int ChildProcess::wait() {
  constexpr int kKilled = 128;
  int status = SIGKILL;  // Should the system not tell.
  waitFor(std::exchange(pid_, 0), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : kKilled + WTERMSIG(status);
}

}  // namespace quorvel
