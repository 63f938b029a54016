#include "Platform/Linux/Support/ChildProcess.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <thread>
#include <utility>

#include "Platform/Linux/Support/Owned.hpp"
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

using SpawnAttributes = Owned<posix_spawnattr_t, ::posix_spawnattr_destroy>;
using SpawnActions = Owned<posix_spawn_file_actions_t, ::posix_spawn_file_actions_destroy>;

void describeSession(posix_spawnattr_t* attributes) {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::posix_spawnattr_setsigmask(attributes, &signals);
  ::sigfillset(&signals);
  ::posix_spawnattr_setsigdefault(attributes, &signals);
  ::posix_spawnattr_setflags(attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
}

void describeFiles(posix_spawn_file_actions_t* actions, const ChildRequest& request) {
  const std::array streams{request.standardInput, request.standardOutput, request.standardError};
  for (int to = STDIN_FILENO; to <= STDERR_FILENO; ++to) {
    if (const int from = streams.at(static_cast<std::size_t>(to)); from >= 0) {
      ::posix_spawn_file_actions_adddup2(actions, from, to);
    }
  }
  if (request.directory) {
    ::posix_spawn_file_actions_addchdir_np(actions, request.directory->c_str());
  }
}

bool holdsNul(const ChildRequest& request) {
  const auto cut = [](const std::string& text) { return text.find('\0') != std::string::npos; };
  return cut(request.path) || (request.directory && cut(*request.directory)) ||
         std::ranges::any_of(request.arguments, cut);
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

std::optional<ChildProcess> ChildProcess::start(ChildRequest request) {
  if (holdsNul(request)) {
    errno = EINVAL;
    return std::nullopt;
  }
  posix_spawnattr_t attributes{};
  ::posix_spawnattr_init(&attributes);
  const SpawnAttributes attributesOwner(&attributes);
  describeSession(&attributes);
  posix_spawn_file_actions_t actions{};
  ::posix_spawn_file_actions_init(&actions);
  const SpawnActions actionsOwner(&actions);
  describeFiles(&actions, request);
  pid_t pid = 0;
  errno = ::posix_spawnp(&pid, request.path.c_str(), &actions, &attributes,
                         argumentPointers(request).data(), environ);
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
                      .standardError = nothing.get()});
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
