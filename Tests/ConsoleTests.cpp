#include "Shared/Console.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <thread>

#include "Platform/Foundation/NSPipe.hpp"
#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Tests/Support/Files.hpp"
#include "Tests/Support/LogReader.hpp"
#include "Tests/Support/PrivateMachine.hpp"

namespace quorvel::test {
namespace {

using namespace std::string_literals;

struct ConsoleTest : public testing::Test {
  ConsoleTest() { setEnvironment("HOME", home.path()); }

  const TemporaryFolder home;
  const std::string file = home / "Quorvel_Helper.txt";
};

TEST_F(ConsoleTest, WritesTheSameEntryToStandardOutputAndToAFileThatBeginsAnew) {
  writeFile(file, "an earlier run");
  const std::string text = "a\\b\"c'd\ne\rf\tg\0h\x1B\x7F\u00E4"s;
  const std::string quotation = R"("a\\b\"c\'d\ne\rf\tg\0h\u{1B}\u{7F})"s + "\u00E4\"";
  const std::vector<std::string> none;
  testing::internal::CaptureStdout();
  const std::string line = std::to_string(__LINE__ + 1);
  FunctionLog{"run(a:)"}({text, std::vector{text, ""s}, none, CommandResult{text, ""}, 1});
  Console::log({}, "/a/b/Some.cpp//", "run()", 7);
  const std::string output = testing::internal::GetCapturedStdout();
  EXPECT_EQ(readFile(file), output);
  const std::string first = " in ConsoleTests.cpp run(a:) [Line " + line + "]:\n" + text + "\n[" +
                            quotation + ", \"\"]\n[]\n(result: " + quotation +
                            ", error: \"\")\n1\n\n";
  EXPECT_EQ(output.find(first), 23U) << "behind the time\n" << output;
  EXPECT_TRUE(output.ends_with(" in Some.cpp run() [Line 7]:\n\n")) << output;
  EXPECT_EQ(parseLog(output).size(), 2U);
}

TEST_F(ConsoleTest, StampsEntriesWithTheLocalTime) {
  setEnvironment("TZ", "XYZ-05:30");
  const std::chrono::system_clock::time_point date(std::chrono::milliseconds(951'777'000'007));
  EXPECT_EQ(NSDateFormatter().stringFromDate(date), "2000-02-29 04:00:00.007");
}

void logFromManyThreads() {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([] {
      for (int i = 0; i < 500; ++i) {
        Console::log({"one", "two"}, "Some.cpp", "run()", 1);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
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
  EXPECT_TRUE(parseLog(*output) == std::vector<LogEntry>(4000, {"one", "two"}));
  EXPECT_TRUE(*output == readFile(file));
}

TEST_F(ConsoleTest, NeverWritesThroughALink) {
  writeFile(home / "precious", "kept");
  std::filesystem::create_symlink(home / "precious", file);
  Console::log({"first"}, "Some.cpp", "run()", 1);
  EXPECT_EQ(readFile(home / "precious"), "kept");
  EXPECT_EQ(parseLog(readFile(file)).size(), 1U);
}

}  // namespace
}  // namespace quorvel::test
