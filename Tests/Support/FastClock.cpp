// Preloaded into the agent or a tool, it makes its timers and its patience run CLOCK_SPEED times as
// fast and the clock on the wall jump by two years whenever it is read. Its own code stays as
// it is.
#include <dlfcn.h>
#include <poll.h>
#include <sys/syscall.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <list>
#include <utility>

namespace {

// NOLINTNEXTLINE(concurrency-mt-unsafe): before threads exist.
const std::uint64_t kSpeed = std::strtoul(std::getenv("CLOCK_SPEED"), nullptr, 10);

/// A source that our caller has made; never freed, like the agent's timers.
struct Timer {
  sd_event_time_handler_t callback;
  void* context;
};

/// The library asks itself for the time as well; only a timer's callback sees the fast clock.
bool isInCallback = false;

/// What this thread has waited for in vain: the library looks whether that time has really come.
thread_local timespec passed{};

bool hasTimer = false;

template <typename Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int fire(sd_event_source* source, std::uint64_t due, void* context) {
  const auto* const timer = static_cast<Timer*>(context);
  isInCallback = true;
  const int result = timer->callback(source, due * kSpeed, timer->context);
  isInCallback = false;
  return result;
}

/// The agent's commands run as they always do.
__attribute__((constructor)) void keepFromChildren() {
  ::unsetenv("LD_PRELOAD");  // NOLINT(concurrency-mt-unsafe): before threads exist.
}

}  // namespace

extern "C" {

int sd_event_add_time_relative(sd_event* event, sd_event_source** source, clockid_t clock,
                               std::uint64_t usec, std::uint64_t accuracy,
                               sd_event_time_handler_t callback, void* userdata) {
  static auto* const add = real<decltype(sd_event_add_time_relative)>("sd_event_add_time_relative");
  hasTimer = true;
  const bool wasInCallback = std::exchange(isInCallback, false);
  static auto* const timers = new std::list<Timer>;
  timers->push_back({callback, userdata});
  const int result =
      add(event, source, clock, usec / kSpeed, accuracy / kSpeed, fire, &timers->back());
  isInCallback = wasInCallback;
  return result;
}

int sd_event_source_set_time(sd_event_source* source, std::uint64_t usec) {
  static auto* const set = real<decltype(sd_event_source_set_time)>("sd_event_source_set_time");
  return set(source, isInCallback ? usec / kSpeed : usec);
}

int sd_event_now(sd_event* event, clockid_t clock, std::uint64_t* usec) {
  static auto* const now = real<decltype(sd_event_now)>("sd_event_now");
  const int result = now(event, clock, usec);
  *usec *= isInCallback ? kSpeed : 1;
  return result;
}

int sd_event_loop(sd_event* event) {
  static auto* const loop = real<decltype(sd_event_loop)>("sd_event_loop");
  if (!hasTimer) {  // Else the tests would run at the usual speed without a word.
    static_cast<void>(std::fprintf(stderr, "The agent makes its timers without the fast clock.\n"));
    std::abort();
  }
  return loop(event);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): reserved names there.
int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  static auto* const wait = real<decltype(pthread_cond_clockwait)>("pthread_cond_clockwait");
  timespec now{};
  ::syscall(SYS_clock_gettime, clock, &now);
  const std::int64_t from = now.tv_sec * kSecond + now.tv_nsec;
  const std::int64_t length = until->tv_sec * kSecond + until->tv_nsec - from;
  const std::int64_t end = from + length / static_cast<std::int64_t>(kSpeed);
  const timespec sooner{.tv_sec = end / kSecond, .tv_nsec = end % kSecond};
  const int result = wait(condition, mutex, clock, &sooner);
  passed = result == ETIMEDOUT ? *until : passed;
  return result;
}

/// A pause, where nothing is waited for but the time.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): reserved names there.
int ppoll(pollfd* files, nfds_t count, const timespec* patience, const sigset_t* signals) {
  static auto* const wait = real<decltype(ppoll)>("ppoll");
  if (count > 0 || patience == nullptr) {
    return wait(files, count, patience, signals);
  }
  const timespec sooner{.tv_sec = patience->tv_sec / static_cast<time_t>(kSpeed),
                        .tv_nsec = patience->tv_nsec / static_cast<long>(kSpeed)};
  return wait(files, count, &sooner, signals);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): reserved names there.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
  constexpr time_t kYear = 365L * 24 * 60 * 60;
  static std::atomic<unsigned> reads = 0;
  const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
  if (clock == CLOCK_MONOTONIC && time->tv_sec < passed.tv_sec) {
    *time = passed;
  }
  if (clock == CLOCK_REALTIME) {
    time->tv_sec += ++reads % 2 == 0 ? kYear : -kYear;
  }
  return result;
}

}  // extern "C"
