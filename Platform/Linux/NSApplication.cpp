#include "Platform/AppKit/NSApplication.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "Platform/Foundation/NSBundle.hpp"
#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Foundation/NSRunLoop.hpp"
#include "Platform/Linux/Support/EventLoop.hpp"
#include "Platform/Linux/Support/PropertyList.hpp"

namespace quorvel {
namespace {

constexpr std::array kTerminationSignals{SIGTERM, SIGINT, SIGHUP};

/// A pipe or a log file must never get one of the numbers that programs print to.
void openMissingStandardStreams() {
  int fd = 0;
  do {
    fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  ::close(fd);
}

int terminateOnSignal(sd_event_source* /*source*/, const signalfd_siginfo* /*info*/,
                      void* application) {
  static_cast<NSApplication*>(application)->terminate();
}

/// Blocked before any thread exists, so that every thread inherits it and the loop alone is told.
void takeTerminationSignals(NSApplication* application) {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : kTerminationSignals) {
    ::sigaddset(&signals, signal);
  }
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  for (const int signal : kTerminationSignals) {
    ::sd_event_add_signal(mainEventLoop(), nullptr, signal, terminateOnSignal, application);
  }
}

/// Loads the main interface file and makes the delegate that it names.
std::unique_ptr<NSApplicationDelegate> loadMainInterface(const NSClassTable& classes) {
  const NSBundle& bundle = NSBundle::mainBundle();
  const auto name = bundle.objectForInfoDictionaryKey("NSMainNibFile");
  if (!name) {
    throw std::runtime_error(bundle.bundlePath() +
                             "/Contents/Info.plist is missing, damaged or names no NSMainNibFile; "
                             "install the application again");
  }
  const std::string path = bundle.pathForResource(*name, "plist");
  const PropertyList file = readPropertyList(path);
  if (!file) {
    throw std::runtime_error(path + " is missing or damaged; install the application again");
  }
  const auto delegate = propertyListText(propertyListItem(file.get(), "DelegateClass"));
  const auto known = classes.find(delegate.value_or(""));
  if (known == classes.end()) {
    throw std::runtime_error(path + " names no known DelegateClass; install the application again");
  }
  return known->second();
}

}  // namespace

NSApplication& NSApplication::sharedApplication() {
  static auto* const application = new NSApplication;  // Immortal.
  return *application;
}

void NSApplication::setDelegate(std::unique_ptr<NSApplicationDelegate> delegate) {
  delegate_ = std::move(delegate);
}

void NSApplication::run() {
  takeTerminationSignals(this);
  delegate_->applicationDidFinishLaunching();
  NSRunLoop::mainRunLoop().run();
}

void NSApplication::terminate() {
  delegate_->applicationWillTerminate();
  std::exit(EXIT_SUCCESS);  // NOLINT(concurrency-mt-unsafe): what threads use is never destroyed.
}

int NSApplicationMain(int /*argc*/, char** /*argv*/, const NSClassTable& classes) {
  openMissingStandardStreams();
  static_cast<void>(::signal(SIGPIPE, SIG_IGN));  // Who reads our output may leave; we stay.
  try {
    NSApplication::sharedApplication().setDelegate(loadMainInterface(classes));
  } catch (const std::exception& problem) {
    NSLog(std::string("Quorvel Helper cannot start: ") + problem.what() + ".");
    std::exit(EXIT_FAILURE);  // NOLINT(concurrency-mt-unsafe): there is no other thread yet.
  }
  NSApplication::sharedApplication().run();
}

}  // namespace quorvel
