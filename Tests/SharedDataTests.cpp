#include "Shared/SharedData.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

#include "Platform/Linux/Support/PropertyList.hpp"
#include "Tests/Support/Files.hpp"
#include "Tests/Support/PrivateMachine.hpp"

namespace quorvel::test {
namespace {

struct SharedDataTest : public testing::Test {
  SharedDataTest() { setEnvironment("XDG_CONFIG_HOME", folder.path()); }

  void store(const std::string& keysAndValues) const {
    writeFile(path, "<plist version=\"1.0\"><dict>" + keysAndValues + "</dict></plist>");
  }
  void expectEmpty(const std::string& what) const {
    EXPECT_EQ(SharedData::shared().pwd(), "") << what;
    EXPECT_FALSE(SharedData::shared().managerStyle()) << what;
  }

  const TemporaryFolder folder;
  const std::string path = folder / "com.quorvel.Manager.Shared.plist";
};

const std::string kFull =
    "<key>Quorvel.Mac.PWD.Key</key><data>cMOkJ1w=</data>"
    "<key>Quorvel.Manager.Style.Key</key><true/>";

TEST_F(SharedDataTest, AreReadAnewAtEveryCall) {
  expectEmpty("no file");
  store(kFull);
  EXPECT_EQ(SharedData::shared().pwd(), "p\u00E4'\\");
  EXPECT_TRUE(SharedData::shared().managerStyle());
  store("");
  expectEmpty("empty dictionary");
}

TEST_F(SharedDataTest, WarnOnceWhenOthersCanReadThePassword) {
  const auto saidAfter = [&](const char* mode) {
    store(kFull);
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
    store(std::string("<key>Quorvel.Manager.Style.Key</key>") + value);
    EXPECT_EQ(SharedData::shared().managerStyle(), isTrue) << value;
  }
}

TEST_F(SharedDataTest, AreFoundAmongMuchThatTheMainApplicationKeeps) {
  std::string much = kFull + "<!-- </array> --><key>a</key><array>";
  for (int i = 0; i < 20'000; ++i) {
    much += "<dict><key>name</key><string>value</string><key>list</key><array/></dict>";
  }
  store(much + "</array>");
  EXPECT_TRUE(SharedData::shared().managerStyle());
  char* bytes = nullptr;
  std::uint32_t size = 0;
  ::plist_to_bin(readPropertyList(path).get(), &bytes, &size);
  writeFile(path, std::string_view(bytes, size));
  std::free(bytes);  // NOLINT(*-no-malloc, *-owning-memory): what libplist allocates so.
  EXPECT_TRUE(SharedData::shared().managerStyle());
}

TEST_F(SharedDataTest, ReadAsEmptyFromWhateverElseIsInTheirPlace) {
  for (const std::string content : {"", "garbage", "<plist>"}) {
    writeFile(path, content);
    expectEmpty(content);
  }
  store(kFull + std::string(kLargestPropertyList, ' '));
  expectEmpty("a file too large to be read at every scan");
  for (const std::string array : {"<array>", R"(<array a="></array>">)", "<array><!--></array>-->",
                                  "<array><?a ></array>?>"}) {
    std::string arrays = kFull + "<key>deep</key>";
    for (const std::string& tag : {array, std::string("</array>")}) {
      for (int level = 0; level < 300'000; ++level) {
        arrays += tag;
      }
    }
    store(arrays);
    expectEmpty(array + " nested too deep");
    writeFile(path, "<!DOCTYPE plist [<!--]>" + readFile(path));
    expectEmpty(array + " nested too deep behind a document type");
  }
  for (const std::string command : {"mkfifo ", "mkdir "}) {
    shell("rm " + path + "; " + command + path);
    expectEmpty(command);
  }
}

}  // namespace
}  // namespace quorvel::test
