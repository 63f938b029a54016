#include "Shared/SharedData.hpp"

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include "Tests/Support/Files.hpp"
#include "Tests/Support/PrivateMachine.hpp"

namespace quorvel::test {
namespace {

class SharedDataTest : public testing::Test {
 protected:
  SharedDataTest() { setEnvironment("XDG_CONFIG_HOME", folder.path()); }

  void store(const std::string& content) const {
    writeFile(folder / "com.quorvel.Manager.Shared.plist", content);
  }
  void storeDictionary(const std::string& keysAndValues) const {
    store("<plist version=\"1.0\"><dict>" + keysAndValues + "</dict></plist>");
  }
  void expectEmpty(const std::string& what) const {
    EXPECT_EQ(SharedData::shared().pwd(), "") << what;
    EXPECT_FALSE(SharedData::shared().managerStyle()) << what;
  }

  TemporaryFolder folder;
};

const std::string kFull =
    "<key>Quorvel.Mac.PWD.Key</key><data>cMOkJ1w=</data>"
    "<key>Quorvel.Manager.Style.Key</key><true/>";

TEST_F(SharedDataTest, AreReadAnewAtEveryCall) {
  expectEmpty("no file");
  storeDictionary(kFull);
  EXPECT_EQ(SharedData::shared().pwd(), "p\u00E4'\\");
  EXPECT_TRUE(SharedData::shared().managerStyle());
  storeDictionary("");
  expectEmpty("empty dictionary");
}

TEST_F(SharedDataTest, MayBeBinary) {
  auto* const settings = ::plist_new_dict();
  ::plist_dict_set_item(settings, "Quorvel.Mac.PWD.Key", ::plist_new_data("a\0b", 3));
  ::plist_dict_set_item(settings, "Quorvel.Manager.Style.Key", ::plist_new_uint(2));
  char* bytes = nullptr;
  uint32_t length = 0;
  ::plist_to_bin(settings, &bytes, &length);
  store({bytes, length});
  ::free(bytes);  // NOLINT(cppcoreguidelines-no-malloc): as libplist wants it.
  ::plist_free(settings);
  EXPECT_EQ(SharedData::shared().pwd(), std::string("a\0b", 3));
  EXPECT_TRUE(SharedData::shared().managerStyle());
}

TEST_F(SharedDataTest, TakeOnlyDataForAPassword) {
  for (const auto* value : {"<string>secret</string>", "<true/>", "<data>//8=</data>", "<dict/>"}) {
    storeDictionary("<key>Quorvel.Mac.PWD.Key</key>" + std::string(value));
    EXPECT_EQ(SharedData::shared().pwd(), "") << value;
  }
}

TEST_F(SharedDataTest, WarnOnceWhenOthersCanReadThePassword) {
  const auto saidAfter = [&](const char* mode) {
    storeDictionary(kFull);
    shell("chmod " + std::string(mode) + " " + folder.path().string() + "/*");
    testing::internal::CaptureStderr();
    static_cast<void>(SharedData::shared().pwd());
    return testing::internal::GetCapturedStderr();
  };
  EXPECT_EQ(saidAfter("600"), "");
  EXPECT_NE(saidAfter("640").find("chmod 600"), std::string::npos);
  EXPECT_EQ(saidAfter("644"), "");
}

TEST_F(SharedDataTest, TakeForTrueWhatThePlatformTakes) {
  const auto style = [&](const std::string& value) {
    storeDictionary("<key>Quorvel.Manager.Style.Key</key>" + value);
    return SharedData::shared().managerStyle();
  };
  for (const auto* value : {"<true/>", "<integer>1</integer>", "<integer>-3</integer>",
                            "<real>0.5</real>", "<string>YES</string>", "<string>yes</string>",
                            "<string>true</string>", "<string> +007</string>"}) {
    EXPECT_TRUE(style(value)) << value;
  }
  for (const auto* value : {"<false/>", "<integer>0</integer>", "<real>0</real>",
                            "<string>NO</string>", "<string>0</string>", "<string></string>",
                            "<string>on</string>", "<data>AQ==</data>", "<array><true/></array>"}) {
    EXPECT_FALSE(style(value)) << value;
  }
}

TEST_F(SharedDataTest, ReadAsEmptyFromWhateverElseIsInTheirPlace) {
  const std::string whole = "<plist version=\"1.0\"><dict>" + kFull + "</dict></plist>";
  for (const std::string& content :
       {std::string(), std::string("garbage"), std::string(9999, '\0'),
        std::string("bplist00\xFF\xFF"), std::string("<plist>"),
        std::string("<plist><array/></plist>"), whole + std::string(65536, ' ')}) {
    store(content);
    expectEmpty(content.substr(0, 80));
  }
  const auto path = folder / "com.quorvel.Manager.Shared.plist";
  std::filesystem::remove(path);
  ::mkfifo(path.c_str(), 0600);
  expectEmpty("a FIFO must not hold the agent up");
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  expectEmpty("a folder");
}

}  // namespace
}  // namespace quorvel::test
