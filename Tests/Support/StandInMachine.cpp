#include "Tests/Support/StandInMachine.hpp"

#include <sstream>

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
/// Ends later than its output: whatever the agent needs to end a command, it has from the first
/// scan.
constexpr std::string_view kDf = R"(#!/bin/sh
echo >>"$MACHINE/scans"; cat "$MACHINE/mounts"; exec sleep 0.01 >&- 2>&-
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
  writeScript(folder_ / "bin/df", kDf);
  writeScript(folder_ / "bin/sudo", kSudo);
  writeScript(folder_ / "bin/open", kOpen);
  writeScript(folder_ / "bin/mount_ntfs", "#!/bin/sh\n");
  writeFile(folder_ / ".zshenv", kRecorder);
  writeFile(folder_ / "scans", "");
  std::filesystem::create_directories(desktop());
  attach({});
  setEnvironment("MACHINE", folder_.path());
  setEnvironment("ZDOTDIR", folder_.path());
  setEnvironment("HOME", home());
  setEnvironment("XDG_CONFIG_HOME", folder_ / "config");
  setEnvironment("XDG_RUNTIME_DIR", folder_.path());
  setEnvironment("PATH", (folder_ / "bin").string() + ":/usr/bin:/bin");
  setEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
}

// In one step: the agent must not read a half.
void StandInMachine::replace(std::string_view name, std::string_view content) const {
  writeFile(folder_ / "next", content);
  std::filesystem::rename(folder_ / "next", folder_ / name);
}

void StandInMachine::info(const std::string& identifier, std::string_view output) const {
  replace("info-" + identifier, output);
}

void StandInMachine::describe(const std::string& identifier, const std::string& name,
                              const std::string& mounted, const std::string& personality) const {
  info(identifier, "   Device Identifier:         " + identifier +
                       "\n\n   Volume Name:               " + name +
                       "\n   Mounted:                   " + mounted +
                       "\n   File System Personality:   " + personality + "\n");
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

void StandInMachine::settings(const std::string& keysAndValues) const {
  writeFile(folder_ / "config/com.quorvel.Manager.Shared.plist",
            "<plist version=\"1.0\"><dict>" + keysAndValues + "</dict></plist>");
}

std::vector<std::string> StandInMachine::takeScripts() const {
  std::vector<std::string> scripts;
  std::istringstream recorded(readFile(folder_ / "scripts"));
  for (std::string script; std::getline(recorded, script, '\0');) {
    scripts.push_back(script);
  }
  writeFile(folder_ / "scripts", "");
  return scripts;
}

bool StandInMachine::runs(const std::string& text) const {
  return eventually([&] { return readFile(folder_ / "scripts").find(text) != std::string::npos; });
}

std::size_t StandInMachine::scans() const { return std::filesystem::file_size(folder_ / "scans"); }

bool StandInMachine::scansOn(std::size_t more) const {
  return eventually([this, until = scans() + more] { return scans() >= until; });
}

std::vector<std::string> StandInMachine::log() const { return loggedItems(home()); }

std::vector<std::string> StandInMachine::takeLog() const {
  auto items = log();
  writeFile(home() / "Quorvel_Helper.txt", "");
  return items;
}

}  // namespace quorvel::test
