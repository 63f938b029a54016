#include "Tools/Library/Promptly.hpp"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

std::optional<int> doPromptly(const std::function<int()>& work, bool isPatient) {
  constexpr int kPatience = 2000;  // In milliseconds.
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::close_range(0, ~0U, 0);
    ::_exit(work());
  }
  const UniqueFd child(pid > 0 ? static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)) : -1);
  pollfd end{.fd = child.get(), .events = POLLIN, .revents = 0};
  if (child && ::poll(&end, 1, isPatient ? -1 : kPatience) == 1) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
  }
  if (pid > 0) {
    ::kill(pid, SIGKILL);
  }
  return std::nullopt;
}

}  // namespace quorvel
