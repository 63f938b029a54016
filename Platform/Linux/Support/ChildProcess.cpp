#include "Platform/Linux/Support/ChildProcess.hpp"

#include <spawn.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

namespace quorvel {
namespace {

int pidfdOpen(pid_t pid) { return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)); }

void pidfdSendSignal(int pidfd, int signal) {
  ::syscall(SYS_pidfd_send_signal, pidfd, signal, nullptr, 0);
}

// The id type for waitid is a plain number; a pidfd is never negative.
int waitPidfd(int pidfd, siginfo_t* info, int options) {
  int result = 0;
  do {
    result = ::waitid(P_PIDFD, static_cast<id_t>(pidfd), info, options);
  } while (result < 0 && errno == EINTR);
  return result;
}

/// Collects children that outlive the call that started them. Its one thread sleeps in epoll_wait;
/// children are handed over from any thread through the epoll descriptor, without a lock.
class BackgroundCollector {
 public:
  static BackgroundCollector& shared() {
    static auto* const instance = new BackgroundCollector;  // Immortal: its thread never ends.
    return *instance;
  }

  void take(UniqueFd pidfd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = pidfd.get();
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, pidfd.get(), &event) == 0) {
      static_cast<void>(pidfd.release());
    }
  }

 private:
  BackgroundCollector() { std::thread(&BackgroundCollector::collectForever, this).detach(); }

  void collectForever() const {
    std::array<epoll_event, 16> ended{};
    while (true) {
      const int count = ::epoll_wait(epoll_.get(), ended.data(), ended.size(), -1);
      for (int i = 0; i < count; ++i) {
        const UniqueFd pidfd(ended.at(static_cast<std::size_t>(i)).data.fd);
        waitPidfd(pidfd.get(), nullptr, WEXITED);
        // Not left to closing: a child that is just being started may hold a copy for a moment, and
        // the event would come again, under a number that means another descriptor by then.
        ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, pidfd.get(), nullptr);
      }
    }
  }

  UniqueFd epoll_{::epoll_create1(EPOLL_CLOEXEC)};
};

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
  if (errno != 0) {
    return std::nullopt;
  }
  UniqueFd pidfd(pidfdOpen(pid));
  // Without a descriptor it could neither be ended nor collected.
  if (!pidfd && (errno == EMFILE || errno == ENFILE)) {
    const int reason = errno;
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    errno = reason;
    return std::nullopt;
  }
  return ChildProcess(pid, std::move(pidfd));
}

ChildProcess::~ChildProcess() {
  if (!pidfd_ || collectIfEnded()) {
    return;
  }
  try {
    BackgroundCollector::shared().take(std::move(pidfd_));
  } catch (const std::system_error&) {
    // No thread can be had: the system collects the child when we end.
  }
}

void ChildProcess::terminate() {
  if (pidfd_) {
    pidfdSendSignal(pidfd_.get(), SIGTERM);
  }
}

void ChildProcess::killGroup() {
  if (pidfd_) {
    ::kill(-pid_, SIGKILL);
  }
}

bool ChildProcess::collectIfEnded() {
  siginfo_t info{};
  if (pidfd_ && waitPidfd(pidfd_.get(), &info, WEXITED | WNOHANG) == 0 && info.si_pid == 0) {
    return false;
  }
  pidfd_.reset();
  return true;
}

int ChildProcess::wait() {
  siginfo_t info{};
  waitPidfd(pidfd_.get(), &info, WEXITED);
  pidfd_.reset();
  return info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
}

}  // namespace quorvel
