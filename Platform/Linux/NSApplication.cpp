#include "Platform/AppKit/NSApplication.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "Platform/Foundation/NSBundle.hpp"
#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Foundation/NSRunLoop.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"
#include "Platform/Linux/Support/SessionBus.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Platform/Linux/Support/UserFolders.hpp"

namespace quorvel {
namespace {

/// A pipe or a log file must never get one of the numbers that programs print to.
void openMissingStandardStreams() {
  int fd = 0;
  do {
    fd = ::open("/dev/null", O_RDWR);  // Left to our commands, too.
  } while (fd >= 0 && fd <= STDERR_FILENO);
  ::close(fd);
}

/// Our memory holds the user's password now and then. The limit is for our commands as well, which
/// are given it: one byte is too little for a file, and keeps the system from giving a core to a
/// program that collects them (core(5)), which none would not. The flag, prctl(2), keeps the user's
/// other programs from reading our memory.
void keepMemoryPrivate() {
  rlimit core{};
  ::getrlimit(RLIMIT_CORE, &core);
  core.rlim_cur = std::min<rlim_t>(core.rlim_max, 1);
  ::setrlimit(RLIMIT_CORE, &core);
  ::prctl(PR_SET_DUMPABLE, 0);
}

/// Tools of ours whose names other programs have as well lie in the bundle; our commands find them
/// there first.
void preferOwnTools() {
  const char* const path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe): no thread yet.
  const std::string own = NSBundle::mainBundle().bundlePath() + "/Contents/Helpers";
  // NOLINTNEXTLINE(concurrency-mt-unsafe)
  ::setenv("PATH", (own + ":" + (path != nullptr ? path : "/usr/bin:/bin")).c_str(), 1);
}

int terminateOnSignal(sd_event_source* /*source*/, const signalfd_siginfo* /*info*/,
                      void* application) {
  static_cast<NSApplication*>(application)->terminate();
}

/// Whoever started us may want us to live through a signal, as nohup(1) does.
bool isIgnored(int signal) {
  struct sigaction action {};
  ::sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

/// Blocked before any thread exists, so that every thread inherits it and the loop alone is told.
void takeTerminationSignals(NSApplication* application) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    if (!isIgnored(signal)) {
      ::sd_event_add_signal(mainEventLoop(), nullptr, signal | SD_EVENT_SIGNAL_PROCMASK,
                            terminateOnSignal, application);
    }
  }
}

[[noreturn]] void refuseToStart(const std::string& reason) {
  NSLog(reason);
  std::exit(EXIT_FAILURE);  // NOLINT(concurrency-mt-unsafe): there is no other thread yet.
}

constexpr const char* kSecondStart =
    "Quorvel Helper is running already. Its icon is in the tray; \"statusmenu\" shows its menu in "
    "a terminal.";

/// Where the agents of a user with this home meet, whatever else their sessions have in common: a
/// socket whose name is no file's, so that nothing of it stays behind.
sockaddr_un meetingPlace() {
  struct stat home {};
  ::stat(homeFolder().c_str(), &home);
  const std::string name = "quorvel-helper-" + std::to_string(::geteuid()) + "-" +
                           std::to_string(home.st_dev) + "-" + std::to_string(home.st_ino);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  name.copy(&address.sun_path[1], name.size());
  return address;
}

UniqueFd newSocket() {
  return UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// Anybody may have taken the name: whoever is not of our user does not count.
bool isOurUserAt(const sockaddr* place) {
  const UniqueFd socket = newSocket();
  ucred owner{};
  socklen_t size = sizeof owner;
  return ::connect(socket.get(), place, sizeof(sockaddr_un)) == 0 &&
         ::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &owner, &size) == 0 &&
         owner.uid == ::geteuid();
}

/// One agent for a user: the name is taken as long as we live, and for the moment after that in
/// which a command that we were just starting has its program not yet.
void refuseSecondStart() {
  constexpr int kAttempts = 20;
  constexpr int kPause = 50;  // Milliseconds.
  static const UniqueFd ours = newSocket();
  const sockaddr_un address = meetingPlace();
  const auto* const place = reinterpret_cast<const sockaddr*>(&address);  // NOLINT(*-cast)
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (::bind(ours.get(), place, sizeof address) == 0 || errno != EADDRINUSE) {
      ::listen(ours.get(), SOMAXCONN);
      return;
    }
    ::poll(nullptr, 0, kPause);
  }
  if (isOurUserAt(place)) {
    refuseToStart(kSecondStart);
  }
}

}  // namespace

NSApplication& NSApplication::sharedApplication() {
  static auto* const application = new NSApplication;  // Immortal.
  return *application;
}

void NSApplication::run() {
  takeTerminationSignals(this);
  const auto nameOnBus = NSBundle::mainBundle().objectForInfoDictionaryKey("CFBundleIdentifier");
  const auto refuse = [this] {
    NSLog(kSecondStart);
    end(EXIT_FAILURE);
  };
  connectToSessionBus(nameOnBus.value_or(""),
                      {.nameIsTaken = refuse, .ended = [this] { terminate(); }});
  delegate_->applicationDidFinishLaunching();
  NSRunLoop::mainRunLoop().run();
  terminate();
}

void NSApplication::terminate() { end(EXIT_SUCCESS); }

void NSApplication::end(int status) {
  performGuarded([this] { delegate_->applicationWillTerminate(); });
  std::exit(status);  // NOLINT(concurrency-mt-unsafe): what threads use is never destroyed.
}

void NSApplication::sendAction(const NSMenuItem& sender) { delegate_->performAction(sender); }

int NSApplicationMain(int /*argc*/, char** /*argv*/, const NSClassTable& classes) {
  openMissingStandardStreams();
  keepMemoryPrivate();
  preferOwnTools();
  static_cast<void>(::signal(SIGPIPE, SIG_IGN));  // Who reads our output may leave; we stay.
  static_cast<void>(::signal(SIGXFSZ, SIG_IGN));  // So may the room for our log.
  // While it is ignored, the system collects our children, and their numbers may be another's.
  static_cast<void>(::signal(SIGCHLD, SIG_DFL));
  refuseSecondStart();
  const NSBundle& bundle = NSBundle::mainBundle();
  try {
    const auto name = bundle.objectForInfoDictionaryKey("NSMainNibFile");
    NSApplication::sharedApplication().loadInterface(
        bundle.pathForResource(name.value_or("MainMenu"), "plist"), classes);
  } catch (const std::exception& problem) {
    refuseToStart(std::string("Quorvel Helper cannot start: ") + problem.what());
  }
  NSApplication::sharedApplication().run();
}

}  // namespace quorvel
