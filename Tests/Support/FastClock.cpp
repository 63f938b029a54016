// Preloaded into the agent or a tool, it makes the clock that their timers and their patience go by
// run CLOCK_SPEED times as fast, and the clock on the wall jump by two years whenever it is read.
// Their own code stays as it is. One that ends without having had the timer of a scan or a
// pause made faster is made to fail: it goes by another clock.
#include <dlfcn.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

// NOLINTNEXTLINE(concurrency-mt-unsafe): before threads exist.
const std::int64_t kSpeed = std::strtol(std::getenv("CLOCK_SPEED"), nullptr, 10);

std::atomic<bool> isUsed = false;

template <typename Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

timespec fromNanoseconds(std::int64_t count) { return {count / kSecond, count % kSecond}; }

/// When, on the machine's clock, ours shows this. Nothing stays nothing: it stands for never.
timespec sooner(const timespec& ours) {
  return fromNanoseconds((ours.tv_sec * kSecond + ours.tv_nsec + kSpeed - 1) / kSpeed);
}

/// Their commands run as they always do.
__attribute__((constructor)) void keepFromChildren() {
  ::unsetenv("LD_PRELOAD");  // NOLINT(concurrency-mt-unsafe): before threads exist.
}

__attribute__((destructor)) void failWhereUnused() {
  if (!isUsed) {
    static_cast<void>(std::fputs("The fast clock was not used.\n", stderr));
    ::_exit(FAST_CLOCK_UNUSED);
  }
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): reserved names there.
extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  constexpr time_t kYear = 365L * 24 * 60 * 60;
  static std::atomic<unsigned> reads = 0;
  const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
  if (clock == CLOCK_MONOTONIC) {
    *time = fromNanoseconds((time->tv_sec * kSecond + time->tv_nsec) * kSpeed);
  } else if (clock == CLOCK_REALTIME) {
    time->tv_sec += ++reads % 2 == 0 ? kYear : -kYear;
  }
  return result;
}

/// All timers of an event loop; the agent's go by CLOCK_MONOTONIC, and repeat by being set again.
int timerfd_settime(int file, int flags, const itimerspec* timer, itimerspec* before) noexcept {
  // The next scan's. Those of the bus are set for long, or for nothing.
  constexpr time_t kShort = 3;
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const time_t due = timer->it_value.tv_sec;
  isUsed = isUsed || (due > 0 && due <= now.tv_sec + kShort);
  const itimerspec soon{.it_interval = {}, .it_value = sooner(timer->it_value)};
  return static_cast<int>(::syscall(SYS_timerfd_settime, file, flags, &soon, before));
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
  static auto* const wait = real<decltype(pthread_cond_clockwait)>("pthread_cond_clockwait");
  const timespec soon = sooner(*until);
  return wait(condition, mutex, clock, &soon);
}

/// A pause, where nothing is waited for but the time.
int ppoll(pollfd* files, nfds_t count, const timespec* patience, const sigset_t* signals) {
  isUsed = isUsed || files == nullptr;
  const timespec soon = patience == nullptr ? timespec{} : sooner(*patience);
  return static_cast<int>(::syscall(SYS_ppoll, files, count, patience == nullptr ? nullptr : &soon,
                                    signals, sizeof(std::uint64_t)));
}

/// The bus is another program, and no faster than ever.
int sd_bus_set_method_call_timeout(sd_bus* bus, std::uint64_t microseconds) {
  static auto* const set =
      real<decltype(sd_bus_set_method_call_timeout)>("sd_bus_set_method_call_timeout");
  return set(bus, microseconds * static_cast<std::uint64_t>(kSpeed));
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
