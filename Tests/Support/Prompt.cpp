#include "Tests/Support/Prompt.hpp"

#include "Shared/Script.hpp"

namespace quorvel::test {

std::string run(const std::string& command) {
  settle();  // A person does not type as fast.
  const std::string script = "(" + command + "\n) || echo \"= $?\" >&2";
  const auto [result, error] = Script::run("/bin/sh", std::nullopt, {"-c", script});
  return result + (error.empty() ? "" : "error: " + error);
}

void expectRefusal(const std::string& command, const std::string& why, int status) {
  const std::string said = run(command);
  EXPECT_TRUE(said.starts_with("error: ") && said.find(why) != std::string::npos &&
              said.ends_with("\n= " + std::to_string(status) + "\n"))
      << command + "\n" + said;
}

Prompt::Prompt() {
  setEnvironment("HOME", home.path());
  setEnvironment("XDG_CONFIG_HOME", "");
  setEnvironment("LC_ALL", "C.UTF-8");
  setEnvironment("PATH", QUORVEL_BUILD_FOLDER "/bin:/usr/sbin:/usr/bin:/sbin:/bin");
  setEnvironment("D", "com.quorvel.Manager.Shared");
}

void DiskToolsTest::prepare() {
  setEnvironment("PATH", "/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin");
  setEnvironment("TESTER", "setpriv --reuid=tester --regid=tester --init-groups");
  setEnvironment("LOOK", "eval [ ! -S /run/udev/control ] || udevadm trigger -w ${PART%p1}*");
}

std::unique_ptr<TestDisk> DiskToolsTest::plugIn(const std::string& label) {
  auto disk = std::make_unique<TestDisk>(*machine, label);
  setEnvironment("PART", disk->partition());
  setEnvironment("ID", ID = disk->ID());
  second = (whole = ID.substr(0, ID.size() - 2)) + "s2";
  return disk;
}

std::string DiskToolsTest::says(const std::string& name, const std::string& what) const {
  return "Volume " + name + " on " + ID + " " + what + "\n";
}

void DiskToolsTest::expectNothingLeft() {
  EXPECT_EQ(run("ls -A /Volumes; ls /dev | grep -w ${ID%1}.; findmnt -S /dev/$ID; true"), "");
}

}  // namespace quorvel::test
