// Many volumes at once, with labels that mean harm or that nobody has thought of.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <regex>
#include <sstream>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/Trial.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

/// Labels between carets; behind an arrow, what the agent calls a volume when that is not its
/// label. The worst come first: ./test takes eight. `canary` is a program that leaves a trace.
constexpr std::string_view kLabels =
    "';canary;'^\";canary;\"$(canary)`canary`^\ncanary\n→?canary^|canary&canary>canary^"
    "$HOME_\x1B]0;t\a\x1B[2J→$HOME_?]0;t??[2J^..→??^-rf^  15               x/→  15x^"
    "'$(canary)^\"\\^\\n\\0101\\c^{a..b}*%!!^~root^=canary^#[a-z]?^<(canary)(+canary)^"
    "$((1/0))→0))^\r\ncanary\t→??canary^--help^.→?^../../etc→etc^a:b/c→c^x: ..→ ??^→Untitled^"
    "\u202Ea\u202C\u2028b→?a??b^  both  →  both^No^Yes NTFS^Mounted: No→ No^"
    "Volume Name:→Volume Name^_a__b&<b>[c]^File System Personality: ext4→ ext4^"
    "/dev/disk0s1→disk0s1^\x7F\u009B2J→??2J";

/// The first characters of alphabets, of signs that combine, and at last of some that take two
/// units in a label.
constexpr std::u32string_view kAlphabets =
    U"\u00C0\u0100\u0391\u0300\u0410\u0531\u05D0\u0627\u0710\u0905\u0985\u0A85\u0B85\u0C05\u0E01"
    U"\u0E81\u0F40\u1000\u10D0\u1200\u13A0\u1780\u1820\u2070\u3041\u30A1\u4E00\uAC00\U00010330"
    U"\U0001D400\U0001F600\U00020000";

struct Volume {
  /// An entry of the menu.
  [[nodiscard]] std::string entry(const std::string& verb) const {
    return verb + " [" + std::regex_replace(name, std::regex("_"), "__") + "]";
  }

  std::string label;
  std::string name;                ///< What the agent calls it.
  std::shared_ptr<TestDisk> disk;  ///< None until it is plugged in.
};
using Volumes = std::vector<Volume>;

Volumes hostileVolumes() {
  std::string labels(kLabels);
  for (std::size_t i = 0; i < kAlphabets.size(); i += 2) {
    std::u32string signs;  // Of two alphabets in turn. libblkid misreads the 64th unit of a label.
    for (char32_t n = 0; n < (kAlphabets[i] < 0x10000 ? 31 : 15); ++n) {
      signs += {kAlphabets[i] + n, kAlphabets[i + 1] + n};
    }
    labels += "^" + fs::path(signs).string();
  }
  Volumes volumes;
  std::istringstream rows(labels);
  for (std::string text; std::getline(rows, text, '^');) {
    const std::size_t arrow = text.find("→");
    const std::string label = text.substr(0, arrow);
    volumes.push_back(
        {label, arrow == std::string::npos ? label : text.substr(arrow + 3), nullptr});
  }
  return volumes;
}

const Texts kServed{"推出", "在Finder中打开"};
const Texts kEjected{"挂载"};

class HostileVolumes : public MachineTest {
 protected:
  void prepare() override {
    writeScript("/usr/local/bin/canary",
                "#!/bin/sh\ntouch " + (machine->folder() / "hurt").string());
    desktop = machine->home("root") / "Desktop";
    atFirst = files();
  }

  /// Every file of the machine but those that tell of a life of the agent.
  [[nodiscard]] std::string files() const {
    return shell("find " + machine->folder().string() +
                 " /Volumes -xdev -printf '%p %y %m %u %l\n' | " +
                 "grep -vE '/(disk-[0-9]+|nodes|shown|Quorvel_Helper.txt|pid|std[a-z]+) f ' | "
                 "sort");
  }
  /// Whether the menu comes to show these entries for each volume, the last volume first.
  [[nodiscard]] bool shows(const Texts& verbs) const {
    Texts expected{"打开主程序", "退出"};
    for (const Volume& volume : volumes) {
      auto place = expected.insert(expected.begin(), "-");
      for (const std::string& verb : verbs) {
        place = expected.insert(place, volume.entry(verb)) + 1;
      }
    }
    const bool isShown = eventually([&] { return panel.openMenu() == expected; });
    EXPECT_TRUE(isShown) << testing::PrintToString(panel.openMenu());
    return isShown;
  }
  [[nodiscard]] bool areServed() const {
    return shows(kServed) && std::ranges::all_of(volumes, [&](const Volume& volume) {
             return eventually([&] {
               const std::string mounts = volume.disk->mounts();
               return mounts.starts_with(desktop.string()) && mounts.ends_with(" rw\n");
             });
           });
  }
  void chooseForEach(const std::string& verb) const {
    for (const Volume& volume : volumes) {
      panel.choose(volume.entry(verb));
    }
  }

  void serve() const {
    Agent agent(*machine, "root", ">stdout", 1);
    ASSERT_TRUE(areServed());
    for (const auto& [label, name, disk] : volumes) {
      writeFile(desktop / name / "proof", label);
    }
    chooseForEach("在Finder中打开");
    chooseForEach("推出");
    ASSERT_TRUE(shows(kEjected));
    for (const auto& [label, name, disk] : volumes) {
      EXPECT_NE(agent.log().find("open\n" + name + "\n" + disk->ID() +
                                 "\n(result: \"\", error: \"open: "),
                std::string::npos);
      EXPECT_EQ(shell("ntfscat -f " + disk->partition() + " proof 2>/dev/null"), label);
    }
    chooseForEach("挂载");
    ASSERT_TRUE(areServed());
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_TRUE(fs::is_empty(desktop)) << "the next agent finds them where the system mounts them";
  }

  void pullOut() const {
    Agent agent(*machine, "root", ">stdout", 1);
    ASSERT_TRUE(areServed());
    for (const Volume& volume : volumes) {
      volume.disk->detach();
    }
    for (const Volume& volume : volumes) {
      EXPECT_TRUE(agent.logs({"remove " + volume.disk->ID()}));
    }
    eventually([&] { return files() == atFirst; });
    EXPECT_EQ(files(), atFirst);
    EXPECT_EQ(agent.end(SIGTERM), 0);
  }

  Session session;
  Panel panel;
  fs::path desktop;
  Volumes volumes = hostileVolumes();
  std::string atFirst;  ///< The files before any disk is attached.
};

TEST_F(HostileVolumes, AreServedUnderTheirNamesAndDoNothingElse) {
  Trial trial("NTFS volumes with hostile labels at once", 8, static_cast<int>(volumes.size()));
  volumes.resize(static_cast<std::size_t>(trial.rounds()));
  for (Volume& volume : volumes) {
    trial.next();
    volume.disk = std::make_shared<TestDisk>(*machine, volume.label);
    systemMounts(*volume.disk);
  }
  ASSERT_NO_FATAL_FAILURE(serve());
  pullOut();
}

}  // namespace
}  // namespace quorvel::test
