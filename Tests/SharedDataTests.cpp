#include "Shared/SharedData.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

#include "Platform/Linux/Support/PropertyList.hpp"
#include "Tests/Support/PrivateMachine.hpp"
#include "Tests/Support/StandInMachine.hpp"

namespace quorvel::test {
namespace {

struct SharedDataTest : public testing::Test {
  /// What the agent takes from the settings.
  static std::string read() {
    const bool isManaged = SharedData::shared().managerStyle();
    return SharedData::shared().pwd() + (isManaged ? " managed" : "");
  }

  const StandInMachine machine;
  const std::string path = machine / "config/com.quorvel.Manager.Shared.plist";
};

const std::string kFull =
    "<key>Quorvel.Mac.PWD.Key</key><data>cMOkJ1w=</data>"
    "<key>Quorvel.Manager.Style.Key</key><true/>";

TEST_F(SharedDataTest, WarnOnceWhenOthersCanReadThePassword) {
  const auto saidAfter = [&](const char* mode) {
    machine.settings(kFull);
    shell("chmod " + std::string(mode) + " " + path);
    testing::internal::CaptureStderr();
    static_cast<void>(SharedData::shared().pwd());
    return testing::internal::GetCapturedStderr();
  };
  const bool isHidden = !shell("grep ' /proc proc .*hidepid=' /proc/self/mounts").empty();
  EXPECT_EQ(saidAfter("600").find("hidepid") == std::string::npos, isHidden);
  EXPECT_NE(saidAfter("640").find("chmod 600"), std::string::npos);
  EXPECT_EQ(saidAfter("644"), "");
}

TEST_F(SharedDataTest, TakeForTrueWhatThePlatformTakes) {
  for (const auto& [value, isTrue] : {std::pair{"<true/>", true},
                                      {"<integer>-3</integer>", true},
                                      {"<real>0.5</real>", true},
                                      {"<string>YES</string>", true},
                                      {"<string> +007</string>", true},
                                      {"<false/>", false},
                                      {"<integer>0</integer>", false},
                                      {"<real>0</real>", false},
                                      {"<string>on</string>", false},
                                      {"<data>AQ==</data>", false}}) {
    machine.settings(std::string("<key>Quorvel.Manager.Style.Key</key>") + value);
    EXPECT_EQ(SharedData::shared().managerStyle(), isTrue) << value;
  }
}

TEST_F(SharedDataTest, AreFoundAmongMuchThatTheMainApplicationKeeps) {
  std::string much = kFull + "<!-- </array> --><key>a</key><array>";
  for (int i = 0; i < 20'000; ++i) {
    much += "<dict><key>name</key><string>value</string><key>list</key><array/></dict>";
  }
  machine.settings(much + "</array>");
  EXPECT_TRUE(SharedData::shared().managerStyle());
  char* bytes = nullptr;
  std::uint32_t size = 0;
  ::plist_to_bin(readPropertyList(path).get(), &bytes, &size);
  writeFile(path, std::string_view(bytes, size));
  std::free(bytes);  // NOLINT(*-no-malloc, *-owning-memory): what libplist allocates so.
  EXPECT_TRUE(SharedData::shared().managerStyle());
}

TEST_F(SharedDataTest, AreReadAnewAndAsEmptyFromWhateverElseIsInTheirPlace) {
  EXPECT_EQ(read(), "") << "no file";
  machine.settings(kFull + std::string(kLargestPropertyList, ' '));
  EXPECT_EQ(read(), "") << "a file too large to be read at every scan";
  for (const std::string array : {"<array>", R"(<array a="></array>">)", "<array><!--></array>-->",
                                  "<array><?a ></array>?>"}) {
    setEnvironment("ARRAY", array);
    machine.settings(kFull + "<key>deep</key>" +
                     shell(R"(for T in "$ARRAY" '</array>'; do yes "$T" | head -n 300000; done)"));
    EXPECT_EQ(read(), "") << array << " nested too deep";
    writeFile(path, "<!DOCTYPE plist [<!--]>" + readFile(path));
    EXPECT_EQ(read(), "") << array << " nested too deep behind a document type";
  }
  for (const std::string command :
       {">", "echo garbage >", "echo '<plist>' >", "mkfifo ", "mkdir "}) {
    machine.settings(kFull);
    EXPECT_EQ(read(), "p\u00E4'\\ managed");
    shell("rm " + path + "; " + command + path);
    EXPECT_EQ(read(), "") << command;
    std::filesystem::remove(path);
  }
}

}  // namespace
}  // namespace quorvel::test
