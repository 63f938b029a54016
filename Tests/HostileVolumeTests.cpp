// Labels of volumes that mean harm, or that nobody has thought of.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <numeric>
#include <ranges>
#include <regex>

#include "Tests/Support/Agent.hpp"
#include "Tests/Support/MainApplication.hpp"
#include "Tests/Support/Session.hpp"
#include "Tests/Support/Trial.hpp"

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

/// Labels between bars; behind an arrow, what the agent calls a volume when that is not its label.
/// The worst come first: ./test takes one batch. `canary` is a program that leaves a trace.
constexpr std::string_view kLabels =
    "';canary;'¦\";canary;\"$(canary)`canary`¦\ncanary\n→?canary¦|canary&canary>canary¦"
    "$HOME_\x1B]0;t\a\x1B[2J→$HOME_?]0;t??[2J¦..→??¦-rf¦  15               x/→  15x¦"
    "''$(canary)¦\"¦\\¦\\n\\0101\\c¦*¦~root¦=canary¦%¦!!¦#¦<(canary)¦{a,b}¦[a-z]?¦(+canary)¦"
    "$((1/0))→0))¦\r\ncanary\t→??canary¦--help¦.→?¦...¦//→??¦../../etc→etc¦a:b→b¦x: ..→ "
    "??¦→Untitled¦"
    "  both  →  both¦No¦NTFS¦Yes¦Mounted: No→ No¦Volume Name:→Volume Name¦_a__b&<b>[c]¦"
    "File System Personality: ext4→ ext4¦/dev/disk0s1→disk0s1¦\x7F\u009B2J→??2J";

/// The first characters of alphabets, of signs that combine or turn the text around, and of some
/// that take two units in a label.
constexpr std::u32string_view kAlphabets =
    U"A\u00C0\u0100\u0300\u0391\u0410\u0531\u05D0\u0627\u0710\u0905\u0985\u0A85\u0B85\u0C05\u0E01"
    U"\u0E81\u0F40\u1000\u10D0\u1200\u13A0\u1780\u1820\u2010\u3041\u30A1\u4E00\uAC00\U00010330"
    U"\U0001D400\U0001F1E6\U0001F600\U00020000";

std::string utf8(const std::u32string& text) { return fs::path(text).string(); }

std::vector<std::pair<std::string, std::string>> hostileLabels() {
  std::vector<std::pair<std::string, std::string>> labels;
  constexpr std::string_view kArrow = "→";
  for (const auto row : std::views::split(kLabels, std::string_view("¦"))) {
    const std::string text(row.begin(), row.end());
    const std::size_t arrow = text.find(kArrow);
    labels.emplace_back(text.substr(0, arrow),
                        text.substr(arrow == text.npos ? 0 : arrow + kArrow.size()));
  }
  for (const char32_t first : kAlphabets) {
    // libblkid misreads the 64th unit of a label, and these take two each.
    std::u32string alphabet(first < 0x10000 ? 32 : 31, first);
    std::iota(alphabet.begin(), alphabet.end(), first);
    labels.emplace_back(utf8(alphabet), utf8(alphabet));
  }
  labels.emplace_back(utf8(std::u32string(63, U'漢')), utf8(std::u32string(63, U'漢')));
  return labels;
}

struct Volume {
  Volume(const PrivateMachine& machine, const std::string& itsText, const std::string& itsName)
      : text(itsText), name(itsName), disk(machine, text) {
    shell("diskutil mount " + disk.ID());
  }

  /// An entry of the menu.
  [[nodiscard]] std::string entry(const std::string& verb) const {
    return verb + " [" + std::regex_replace(name, std::regex("_"), "__") + "]";
  }

  std::string text;  ///< Its label.
  std::string name;  ///< What the agent calls it.
  TestDisk disk;
};
using Volumes = std::vector<std::shared_ptr<Volume>>;

class HostileVolumes : public MachineTest {
 protected:
  void prepare() override {
    writeScript("/usr/local/bin/canary",
                "#!/bin/sh\ntouch " + (machine->folder() / "hurt").string());
    MainApplication::manage(*machine, false);
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
  [[nodiscard]] bool shows(const Volumes& volumes, const Texts& verbs) const {
    Texts expected{"打开主程序", "退出"};
    for (const auto& volume : volumes) {
      auto place = expected.insert(expected.begin(), "-");
      for (const auto& verb : verbs) {
        place = expected.insert(place, volume->entry(verb)) + 1;
      }
    }
    const bool isShown = eventually([&] { return panel.openMenu() == expected; });
    EXPECT_TRUE(isShown) << testing::PrintToString(panel.openMenu());
    return isShown;
  }
  void chooseForEach(const Volumes& volumes, const std::string& verb) const {
    for (const auto& volume : volumes) {
      panel.choose(volume->entry(verb));
    }
  }

  void leaveToTheMainApplication(const Volumes& volumes) const;
  void serve(const Volumes& volumes) const;

  Session session;
  Panel panel;
  std::string atFirst;  ///< The files before any disk is attached.
};

void HostileVolumes::leaveToTheMainApplication(const Volumes& volumes) const {
  MainApplication::manage(*machine, true);
  Agent agent(*machine, "root");
  MainApplication application;
  Volumes adopted;
  for (const auto& volume : volumes) {
    if (volume->name.find(' ') == std::string::npos) {
      adopted.push_back(volume);
    } else {
      EXPECT_TRUE(agent.logs({"卷名不能包含空格"}));
    }
  }
  ASSERT_TRUE(shows(adopted, {"挂载"}));
  for (const auto& volume : adopted) {
    panel.choose(volume->entry("挂载"));
    ASSERT_EQ(application.takeRequests(), Texts{"add," + volume->name + " 2"});
    application.notice("add," + volume->name);
  }
  ASSERT_TRUE(shows(adopted, {"推出", "在Finder中打开"}));
  for (const auto& volume : adopted) {
    const std::string remounted = " on " + volume->disk.ID() + " mounted";
    EXPECT_TRUE(volume->name != volume->text || volume->name.find(',') != std::string::npos ||
                eventually([&] { return agent.log().find(remounted) != std::string::npos; }))
        << volume->name;
    EXPECT_TRUE(volume->disk.mounts().starts_with("/Volumes/")) << volume->name;
  }
  EXPECT_EQ(agent.end(SIGTERM), 0);
  MainApplication::manage(*machine, false);
}

void HostileVolumes::serve(const Volumes& volumes) const {
  Agent agent(*machine, "root");
  ASSERT_TRUE(shows(volumes, {"推出", "在Finder中打开"}));
  for (const auto& volume : volumes) {
    ASSERT_TRUE(agent.logs({"new mounted", volume->name, volume->disk.ID()}));
    writeFile(machine->home("root") / "Desktop" / volume->name / "proof", volume->text);
  }
  chooseForEach(volumes, "在Finder中打开");
  chooseForEach(volumes, "推出");
  ASSERT_TRUE(shows(volumes, {"挂载"}));
  for (const auto& volume : volumes) {
    EXPECT_NE(agent.log().find("open\n" + volume->name + "\n" + volume->disk.ID() +
                               "\n(result: \"\", error: \"open: "),
              std::string::npos);
    EXPECT_EQ(shell("ntfscat -f " + volume->disk.partition() + " proof 2>/dev/null"), volume->text);
  }
  chooseForEach(volumes, "挂载");
  ASSERT_TRUE(shows(volumes, {"推出", "在Finder中打开"}));
  for (const auto& volume : volumes) {
    const std::string pulled = volume->disk.ID();
    volume->disk.detach();
    EXPECT_TRUE(agent.logs({"remove " + pulled}));
  }
  eventually([&] { return files() == atFirst; });
  EXPECT_EQ(files(), atFirst);
  EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST_F(HostileVolumes, AreServedUnderTheirNamesAndDoNothingElse) {
  constexpr std::size_t kBatch = 8;
  const auto labels = hostileLabels();
  const int batches = static_cast<int>((labels.size() + kBatch - 1) / kBatch);
  for (Trial trial("Eight volumes with hostile labels", 1, batches); trial.next();) {
    Volumes volumes;
    const std::size_t first = static_cast<std::size_t>(trial.round() - 1) * kBatch;
    for (std::size_t i = first; i < std::min(first + kBatch, labels.size()); ++i) {
      volumes.push_back(std::make_shared<Volume>(*machine, labels[i].first, labels[i].second));
    }
    leaveToTheMainApplication(volumes);
    serve(volumes);
  }
}

}  // namespace
}  // namespace quorvel::test
