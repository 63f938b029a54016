#include "Tests/Support/StandInMachine.hpp"

#include <array>
#include <sstream>
#include <utility>

namespace quorvel::test {
namespace {

/// `df` ends later than its output: whatever the agent needs to end a command, it has from the
/// first scan on.
constexpr std::array<std::pair<const char*, const char*>, 5> kPrograms{{
    {"bin/diskutil", R"(case $1 in
  list) cat "$MACHINE/list" ;;
  info) cat "$MACHINE/info-$2" 2>/dev/null ;;
  *) echo "$1 $2 done" ;;
esac)"},
    {"bin/df", R"(echo >>"$MACHINE/scans"; cat "$MACHINE/mounts"; exec sleep 0.01 >&- 2>&-)"},
    {"bin/sudo", R"(read -r password; shift; exec "$@")"},
    {"bin/open", R"(printf '%s\n' "$#" "$@" >"$MACHINE/opened")"},
    {"bin/mount_ntfs", ""},
}};

}  // namespace

StandInMachine::StandInMachine() {
  for (const auto& [program, script] : kPrograms) {
    writeScript(folder_ / program, std::string("#!/bin/sh\n") + script + "\n");
  }
  writeFile(folder_ / ".zshenv", R"(print -rN -- "$ZSH_EXECUTION_STRING" >>"$MACHINE/scripts")");
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
void StandInMachine::answer(const std::string& command, std::string_view output) const {
  writeFile(folder_ / "next", output);
  std::filesystem::rename(folder_ / "next", folder_ / command);
}

void StandInMachine::describe(const std::string& identifier, const std::string& name,
                              const std::string& mounted, const std::string& personality) const {
  answer("info-" + identifier, "   Volume Name:               " + name +
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
  answer("mounts", mounted);
  answer("list", listing);
}

void StandInMachine::settings(const std::string& keysAndValues) const {
  writeFile(folder_ / "config/com.quorvel.Manager.Shared.plist",
            "<plist version=\"1.0\"><dict>" + keysAndValues + "</dict></plist>");
}

// Whole ones: another may just be written.
std::string StandInMachine::newScripts() const {
  const std::string text = readFile(folder_ / "scripts");
  return text.substr(taken_, text.rfind('\0') + 1 - taken_);
}

std::vector<std::string> StandInMachine::takeScripts() const {
  std::vector<std::string> scripts;
  std::istringstream recorded(newScripts());
  for (std::string script; std::getline(recorded, script, '\0');) {
    taken_ += script.size() + 1;
    scripts.push_back(script);
  }
  return scripts;
}

bool StandInMachine::runs(const std::string& text) const {
  return eventually([&] { return newScripts().find(text) != std::string::npos; });
}

std::size_t StandInMachine::scans() const { return std::filesystem::file_size(folder_ / "scans"); }

bool StandInMachine::scansOn(std::size_t more, std::chrono::seconds patience) const {
  return eventually([this, until = scans() + more] { return scans() >= until; }, patience);
}

std::vector<std::string> StandInMachine::log() const {
  std::string text = readFile(home() / "Quorvel_Helper.txt");
  // Where an entry crosses the end of a page of the file, a half of it can be there.
  text.resize(text.rfind("\n\n") + 1);
  std::istringstream lines(text);
  std::vector<std::string> items;
  bool isHeader = true;
  for (std::string line; std::getline(lines, line); isHeader = line.empty()) {
    if (!isHeader && !line.empty() && line != "Running....") {
      items.push_back(line);
    }
  }
  return items;
}

}  // namespace quorvel::test
