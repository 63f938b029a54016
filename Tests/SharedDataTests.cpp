#include "Shared/SharedData.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

#include "Platform/Linux/Support/PropertyList.hpp"
#include "Tests/Support/Files.hpp"
#include "Tests/Support/PrivateMachine.hpp"

namespace quorvel::test {
namespace {

class SharedDataTest : public testing::Test {
 protected:
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

/// Each object begins with a byte for its kind and size, and names others by their places in here.
std::string binaryList(const std::vector<std::string>& objects) {
  std::string list = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += static_cast<char>(list.size());
    list += object;
  }
  std::string trailer(32, '\0');
  trailer[6] = trailer[7] = 1;  // Bytes of a place in the file, and of a place in here.
  trailer[15] = static_cast<char>(objects.size());
  trailer[31] = static_cast<char>(list.size());
  return list + table + trailer;
}

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
  const auto style = [&](const std::string& value) {
    store("<key>Quorvel.Manager.Style.Key</key>" + value);
    return SharedData::shared().managerStyle();
  };
  for (const auto* value :
       {"<true/>", "<integer>-3</integer>", "<real>0.5</real>", "<string>YES</string>",
        "<string>true</string>", "<string> +007</string>"}) {
    EXPECT_TRUE(style(value)) << value;
  }
  for (const auto* value : {"<false/>", "<integer>0</integer>", "<real>0</real>",
                            "<string>NO</string>", "<string>on</string>", "<data>AQ==</data>"}) {
    EXPECT_FALSE(style(value)) << value;
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
  writeFile(path, binaryList({"\xD2\1\2\3\5", "\x5F\x10\x19Quorvel.Manager.Style.Key",
                              "\x51"
                              "a",
                              "\x09", "\xA1\6", "\xA2\4\4",
                              "\x51"
                              "b"}));
  EXPECT_TRUE(SharedData::shared().managerStyle()) << "some share what is alike";
}

TEST_F(SharedDataTest, ReadAsEmptyFromWhateverElseIsInTheirPlace) {
  store(kFull + std::string(kLargestPropertyList, ' '));
  expectEmpty("a file too large to be read at every scan");
  std::string arrays;
  for (const char* tag : {"<array>", "</array>"}) {
    for (int level = 0; level < 300'000; ++level) {
      arrays += tag;
    }
  }
  store(kFull + "<key>deep</key>" + arrays);
  expectEmpty("nested too deep");
  std::vector<std::string> objects{"\xD1\1\2",
                                   "\x51"
                                   "a"};
  while (objects.size() < 60) {
    const auto next = static_cast<char>(objects.size() + 1);
    objects.push_back({'\xA2', next, next});
  }
  objects.emplace_back(
      "\x51"
      "b");
  writeFile(path, binaryList(objects));
  expectEmpty("unfolds without end");
  for (const std::string command : {"mkfifo ", "mkdir "}) {
    shell("rm " + path + "; " + command + path);
    expectEmpty(command);
  }
}

}  // namespace
}  // namespace quorvel::test
