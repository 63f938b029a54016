#include "Tests/Support/StandInMachine.hpp"

#include <cstdlib>

#include "Tests/Support/LogReader.hpp"

namespace quorvel::test {
namespace {

constexpr std::string_view kDiskutil = R"(#!/bin/sh
case $1 in
  list) [ -p "$MACHINE/hold" ] && cat "$MACHINE/hold"; cat "$MACHINE/list" ;;
  info) cat "$MACHINE/info-$2" 2>/dev/null ;;
  *) echo "$1 $2 done" ;;
esac
)";
constexpr std::string_view kSudo = R"(#!/bin/sh
read -r password; shift; exec "$@"
)";
constexpr std::string_view kOpen = R"(#!/bin/sh
printf '%s\n' "$#" "$@" >"$MACHINE/opened"
)";
constexpr std::string_view kRecorder = R"(print -rN -- "$ZSH_EXECUTION_STRING" >>"$MACHINE/scripts"
)";

}  // namespace

StandInMachine::StandInMachine() {
  writeScript(folder_ / "bin/diskutil", kDiskutil);
  writeScript(folder_ / "bin/df", "#!/bin/sh\ncat \"$MACHINE/mounts\"\n");
  writeScript(folder_ / "bin/sudo", kSudo);
  writeScript(folder_ / "bin/open", kOpen);
  writeScript(folder_ / "bin/mount_ntfs", "#!/bin/sh\n");
  writeFile(folder_ / ".zshenv", kRecorder);
  std::filesystem::create_directories(desktop());
  list("");
  mounts("");
  setEnvironment("MACHINE", folder_.path());
  setEnvironment("ZDOTDIR", folder_.path());
  setEnvironment("HOME", home());
  setEnvironment("XDG_CONFIG_HOME", folder_ / "config");
  setEnvironment("XDG_RUNTIME_DIR", folder_.path());
  setEnvironment("PATH", (folder_ / "bin").string() + ":/usr/bin:/bin");
  setEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
}

void StandInMachine::list(std::string_view output) const { replace("list", output); }

void StandInMachine::mounts(std::string_view output) const { replace("mounts", output); }

void StandInMachine::info(std::string_view identifier, std::string_view output) const {
  replace("info-" + std::string(identifier), output);
}

// In one step: the agent must not read a half.
void StandInMachine::replace(std::string_view name, std::string_view content) const {
  writeFile(folder_ / "next", content);
  std::filesystem::rename(folder_ / "next", folder_ / name);
}

void StandInMachine::describe(std::string_view identifier, std::string_view name,
                              std::string_view mounted, std::string_view personality) const {
  std::string output = "   Device Identifier:         " + std::string(identifier) + "\n\n";
  output.append("   Volume Name:               ").append(name);
  output.append("\n   Mounted:                   ").append(mounted);
  output.append("\n   File System Personality:   ").append(personality);
  info(identifier, output + "\n");
}

void StandInMachine::attach(const std::vector<std::string>& names) const {
  std::string listing;
  std::string mounted;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string ID = "disk9s" + std::to_string(i);
    listing += "1: " + ID + "\n";
    mounted += "/dev/" + ID + " 1G\n";
    describe(ID, names[i], "Yes", "NTFS");
  }
  mounts(mounted);
  list(listing);
}

void StandInMachine::settings(std::string_view keysAndValues) const {
  writeFile(folder_ / "config/com.quorvel.Manager.Shared.plist",
            "<plist version=\"1.0\"><dict>" + std::string(keysAndValues) + "</dict></plist>");
}

std::vector<std::string> StandInMachine::takeScripts() const {
  std::vector<std::string> scripts;
  std::string recorded = readFile(folder_ / "scripts");
  for (std::size_t end = 0; (end = recorded.find('\0')) != std::string::npos;) {
    scripts.push_back(recorded.substr(0, end));
    recorded.erase(0, end + 1);
  }
  writeFile(folder_ / "scripts", "");
  return scripts;
}

std::size_t StandInMachine::scans() const {
  const std::string scripts = readFile(folder_ / "scripts");
  std::size_t count = 0;
  for (std::size_t at = 0; (at = scripts.find("df -h", at)) != std::string::npos; ++at) {
    ++count;
  }
  return count;
}

std::vector<std::string> StandInMachine::takeLog() const {
  auto items = loggedItems(home());
  writeFile(home() / "Quorvel_Helper.txt", "");
  return items;
}

StandInAgent::StandInAgent(const StandInMachine& machine, const std::filesystem::path& bundle,
                           const std::string& wrapper)
    : errors_(machine / "stderr"), pidFile_(machine / "pid") {
  const std::string program = bundle / "Contents/MacOS/QuorvelHelper";
  ChildRequest request;
  request.path = "/bin/sh";
  request.arguments = {"-c", "printf $$ >" + pidFile_.string() + "; exec " + wrapper + " " +
                                 program + " >/dev/null 2>>" + errors_.string()};
  if (auto child = ChildProcess::start(request)) {
    process_.emplace(std::move(*child));
  }
}

StandInAgent::~StandInAgent() {
  if (process_) {
    process_->terminate();
    process_->wait();
  }
}

std::filesystem::path StandInAgent::builtBundle() {
  return std::filesystem::path(QUORVEL_BUILD_FOLDER) / "QuorvelHelper.app";
}

int StandInAgent::wait() {
  const int status = process_->wait();
  process_.reset();
  return status;
}

}  // namespace quorvel::test
