#include "Tests/Support/Agent.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;

std::string variable(const std::string& name) {
  const char* const value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
  return value == nullptr ? "" : value;
}

std::string programOf(const fs::path& bundle) { return bundle / "Contents/MacOS/QuorvelHelper"; }

}  // namespace

std::string fastClock(int speed, const fs::path& library) {
  return "env LD_PRELOAD=" + library.string() + " CLOCK_SPEED=" + std::to_string(speed) +
         " ASAN_OPTIONS='" + variable("ASAN_OPTIONS") + ":verify_asan_link_order=0' ";
}

fs::path builtBundle() { return fs::path(QUORVEL_BUILD_FOLDER) / "QuorvelHelper.app"; }

Agent::Agent(const StandInMachine& machine, const std::string& wrapper, const fs::path& bundle)
    : home_(machine.home()), mayComplain_(true) {
  start({}, wrapper + programOf(bundle) + " >/dev/null");
}

Agent::Agent(const PrivateMachine& machine, const std::string& user, const std::string& output,
             int speed)
    : home_(machine.home(user)), mayComplain_(false) {
  std::string variables;
  for (const std::string name : {"DBUS_SESSION_BUS_ADDRESS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
    variables += variable(name).empty() ? "" : name + "='" + variable(name) + "' ";
  }
  start({"setpriv", "--reuid=" + user, "--regid=" + user, "--init-groups"},
        "env -i HOME=" + home_.string() + " XDG_RUNTIME_DIR=" + home_.string() +
            " PATH=" + machine.searchPath() + " LC_ALL=C.UTF-8 " + variables +
            fastClock(speed, machine.folder() / "fast-clock.so") +
            programOf(machine.folder() / "QuorvelHelper.app") + " " + output);
}

void Agent::start(std::vector<std::string> wrapper, const std::string& command) {
  for (const char* predecessors : {"Quorvel_Helper.txt", "pid"}) {
    fs::remove(home_ / predecessors);
  }
  const std::string script = "echo $$ >pid; exec " + command + " 2>>stderr";
  wrapper.insert(wrapper.end(), {"/bin/sh", "-c", script});
  process_.emplace(
      ChildProcess::start({.path = "/usr/bin/env", .arguments = wrapper, .directory = home_})
          .value());
  EXPECT_TRUE(eventually([&] { return readFile(home_ / "pid").ends_with('\n'); }));
  pid_ = std::stoi(readFile(home_ / "pid"));
}

Agent::~Agent() {
  if (process_) {
    end(SIGTERM);
  }
  if (testing::Test::HasFailure()) {
    std::cerr << log() << errors();
  }
}

void Agent::send(int signal) const { ::kill(pid_, signal); }

int Agent::end(int signal) {
  send(signal);
  return wait();
}

int Agent::wait() {
  const int status = process_->wait();
  process_.reset();
  EXPECT_NE(status, FAST_CLOCK_UNUSED) << errors();
  EXPECT_TRUE(mayComplain_ || errors().empty()) << errors();
  return status;
}

bool Agent::logs(const std::vector<std::string>& items) const {
  std::string expected;
  for (const std::string& item : items) {
    expected += item + "\n";
  }
  return eventually([&] { return log().find(expected) != std::string::npos; });
}

std::string Agent::log() const { return readFile(home_ / "Quorvel_Helper.txt"); }

std::string Agent::errors() const { return readFile(home_ / "stderr"); }

}  // namespace quorvel::test
