#include "Shared/Console.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <thread>

#include "Platform/Foundation/NSPipe.hpp"
#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::test {
namespace {

using namespace std::string_literals;

constexpr std::size_t kTime = 23;  ///< The length of what an entry begins with.

struct ConsoleTest : public testing::Test {
  ConsoleTest() { setEnvironment("HOME", home.path()); }

  const TemporaryFolder home;
  const std::string file = home / "Quorvel_Helper.txt";
};

TEST_F(ConsoleTest, WritesTheSameEntryToStandardOutputAndToANewFileNeverThroughALink) {
  writeFile(home / "precious", "kept");
  std::filesystem::create_symlink(home / "precious", file);
  const std::string text = "a\\b\"c'd\ne\rf\tg\0h\x1B\x7F\u00E4"s;
  const std::string quotation = R"("a\\b\"c\'d\ne\rf\tg\0h\u{1B}\u{7F})"s + "\u00E4\"";
  const std::vector<std::string> none;
  testing::internal::CaptureStdout();
  const std::string line = std::to_string(__LINE__ + 1);
  FunctionLog{"run(a:)"}({text, std::vector{text, ""s}, none, CommandResult{text, ""}, 1});
  Console::log({}, "/a/b/Some.cpp//", "run()", 7);
  const std::string output = testing::internal::GetCapturedStdout();
  EXPECT_EQ(readFile(file), output);
  EXPECT_EQ(readFile(home / "precious"), "kept");
  const std::string first = " in ConsoleTests.cpp run(a:) [Line " + line + "]:\n" + text + "\n[" +
                            quotation + ", \"\"]\n[]\n(result: " + quotation +
                            ", error: \"\")\n1\n\n";
  EXPECT_EQ(output.find(first), kTime) << output;
  EXPECT_TRUE(output.ends_with(" in Some.cpp run() [Line 7]:\n\n")) << output;
}

TEST_F(ConsoleTest, StampsEntriesWithTheLocalTime) {
  setEnvironment("TZ", "XYZ-05:30");
  const std::chrono::system_clock::time_point date(std::chrono::milliseconds(951'777'000'007));
  EXPECT_EQ(NSDateFormatter().stringFromDate(date), "2000-02-29 04:00:00.007");
}

const std::string kLongItem(10'000, 'x');  ///< More than a pipe takes in one step.

void logFromManyThreads() {
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([] {
      for (int i = 0; i < 50; ++i) {
        Console::log({kLongItem}, "Some.cpp", "run()", 1);
      }
    });
  }
}

TEST_F(ConsoleTest, KeepsEntriesOfManyThreadsWholeOnWhateverTakesThemSlowly) {
  NSPipe terminal;
  const int end = terminal.fileHandleForWriting().fileDescriptor();
  ::fcntl(end, F_SETFL, O_NONBLOCK);
  std::thread program([&] {
    const UniqueFd saved(::dup(STDOUT_FILENO));
    ::dup2(end, STDOUT_FILENO);
    logFromManyThreads();
    ::dup2(saved.get(), STDOUT_FILENO);
    terminal.fileHandleForWriting().closeFile();
  });
  EXPECT_TRUE(eventually([&] {
    pollfd room{.fd = end, .events = POLLOUT, .revents = 0};
    return ::poll(&room, 1, 0) == 0;
  }));
  const auto output = readAll(terminal.fileHandleForReading().fileDescriptor(), SIZE_MAX);
  program.join();
  EXPECT_TRUE(*output == readFile(file));
  const std::string entry = " in Some.cpp run() [Line 1]:\n" + kLongItem + "\n\n";
  ASSERT_EQ(output->size(), 400 * (kTime + entry.size()));
  for (std::size_t at = kTime; at < output->size(); at += kTime + entry.size()) {
    ASSERT_TRUE(output->substr(at, entry.size()) == entry);
  }
}

}  // namespace
}  // namespace quorvel::test
