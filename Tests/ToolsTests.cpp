// The command-line tools without disks: what they print, what they change, and what they refuse.
#include <gtest/gtest.h>

#include "Shared/SharedData.hpp"
#include "Tests/Support/Prompt.hpp"

namespace quorvel::test {
namespace {

struct ToolsTest : public testing::Test, protected Prompt {
  const std::string settings = in + "/.config/com.quorvel.Manager.Shared.plist";
  const std::string setStyle = "defaults write $D Quorvel.Manager.Style.Key -bool true";
};

TEST_F(ToolsTest, ExplainThemselvesWhenAskedAndWhenMisused) {
  for (const std::string tool : {"diskutil", "mount_ntfs", "open", "defaults"}) {
    const std::string help = run(tool + " --help");
    EXPECT_TRUE(help.starts_with("Usage: " + tool) && help.find("error: ") == help.npos) << help;
    expectRefusal(tool, "Usage: " + tool, 64);
  }
  for (const std::string misuse :
       {"diskutil list disk1", "diskutil info", "diskutil info disk1 --help", "diskutil eject",
        "mount_ntfs -o", "mount_ntfs /dev/disk1s1", "mount_ntfs -x /dev/disk1s1 /", "open ''",
        "defaults read", "defaults delete", "defaults rename D K", "defaults write D K",
        "defaults write D K -int 5", "defaults write D K -bool maybe",
        "defaults write D K -data 616", "defaults write D K text",
        "defaults write D K -string $(printf '\\377')"}) {
    expectRefusal(misuse, "\nUsage: ", 64);
  }
}

TEST_F(ToolsTest, OpenStartsTheFileManagerAndDoesNotWaitForIt) {
  writeScript(home / "xdg-open",  // Tells its argument and whether it leads a session.
              "#!/bin/sh\necho \"$* $(($(cut -d' ' -f6 /proc/$$/stat) - $$))\" >~/opened\n"
              "read -r _ <~/end && echo >~/ended\n");
  run("mkfifo ~/end; mkdir ~/-folder");
  EXPECT_EQ(run("cd; PATH=$HOME:$PATH DISPLAY=:0 timeout 60 open -folder"), "");
  EXPECT_TRUE(eventually([&] { return readFile(home / "opened") == in + "/-folder 0\n"; }));
  run("echo >~/end");
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(home / "ended"); }));
  expectRefusal("DISPLAY=:0 open ~/none", "The file " + in + "/none does not exist");
  expectRefusal("O=$(command -v open); PATH=/nowhere DISPLAY=:0 $O ~", "xdg-open: No such file");
  expectRefusal("DISPLAY= WAYLAND_DISPLAY= open ~", "there is no graphical session");
}

TEST_F(ToolsTest, DefaultsKeepsEveryKindOfValueForTheAgentAndForItself) {
  const std::string password = "p\u00E4\"s's\\w\u6F22 $HOME\n";
  writeFile(home / "password", password + "\n");
  EXPECT_EQ(run("umask 0; mkdir ~/.config; echo '<plist><dict/></plist>' >~/.config/$D.plist; "
                "defaults write $D Quorvel.Mac.PWD.Key -data - <~/password; " +
                setStyle),
            "");
  EXPECT_TRUE(SharedData::shared().managerStyle());
  EXPECT_EQ(run("stat -c %a ~/.config/*"), "600\n");
  EXPECT_EQ(run("for V in '-bool false' '-bool true' '-string plain' '-data 00aBff'; do "
                "defaults write $D 'A K' $V; defaults read $D 'A K'; done; "
                "defaults write $D 'A K' -string '<&> \"\u00E4\\'; defaults read $D 'A K'; "
                "defaults delete $D 'A K'"),
            "0\n1\nplain\n{length = 3, bytes = 0x00abff}\n<&> \"\u00E4\\\n");
  expectRefusal("defaults read $D 'A K'", "Shared, A K) does not exist");
  EXPECT_NE(run("script -qc 'defaults write $D K -data -' /dev/null </dev/null").find("be seen"),
            std::string::npos);
  EXPECT_EQ(SharedData::shared().pwd(), password) << "the other keys stay";
  EXPECT_EQ(run("for K in Quorvel.Mac.PWD.Key Quorvel.Manager.Style.Key; do defaults delete $D $K; "
                "done; ls -A ~/.config; umask 0; XDG_CONFIG_HOME=~/a/b " +
                setStyle + "; stat -c %a ~/a ~/a/b ~/a/b/*"),
            "700\n700\n600\n")
      << "the last key takes the file with it";
}

TEST_F(ToolsTest, DefaultsTakesBinarySettingsAndLosesNothingThatItCannotRead) {
  run("mkdir ~/.config; printf 'bplist00\\321\\1\\2_\\20\\31Quorvel.Manager.Style.Key\\20*"
      "\\10\\13\\47@@@@@@\\1\\1@@@@@@@\\3@@@@@@@@@@@@@@@\\51' | tr @ '\\0' >~/.config/$D.plist");
  EXPECT_TRUE(SharedData::shared().managerStyle()) << "42";
  EXPECT_EQ(
      run("defaults write $D Other -string plain; defaults read $D Quorvel.Manager.Style.Key; "
          "defaults read $D | tr -d '\\n\\t' | grep -o '<dict>.*</dict>'"),
      "42\n<dict><key>Quorvel.Manager.Style.Key</key><integer>42</integer>"
      "<key>Other</key><string>plain</string></dict>\n");
  for (const std::string content : {"", "<plist><array/></plist>", "bplist00\xFF\xFF", "garbage"}) {
    writeFile(settings, content);
    expectRefusal(setStyle, settings + " is not a property list");
    EXPECT_EQ(readFile(settings), content);
  }
  expectRefusal("XDG_CONFIG_HOME=/sys/x " + setStyle, "/sys/x cannot be used: Operation not");
  run("mv ~/.config/*.plist ~/target; ln -s ~/target ~/.config/$D.plist");
  expectRefusal(setStyle, settings + " is a symbolic link");
  EXPECT_EQ(readFile(home / "target"), "garbage");
  for (const std::string domain : {"../target", "/tmp/target", "..", "''"}) {
    expectRefusal("defaults write " + domain + " Key -string text", "cannot be a domain");
  }
}

}  // namespace
}  // namespace quorvel::test
