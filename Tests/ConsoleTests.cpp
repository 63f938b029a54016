#include "Shared/Console.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
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

class ConsoleTest : public testing::Test {
 protected:
  ConsoleTest() { setEnvironment("HOME", home.path()); }

  /// Logs with standard output in a file, and returns what came out there.
  template <typename Work>
  std::string outputOf(const Work& work) {
    const UniqueFd file(::open((home / "stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
    logTo(file.get(), work);
    return readFile(home / "stdout");
  }
  template <typename Work>
  static void logTo(int file, const Work& work) {
    const int saved = ::dup(STDOUT_FILENO);
    ::dup2(file, STDOUT_FILENO);
    work();
    ::dup2(saved, STDOUT_FILENO);
    ::close(saved);
  }
  [[nodiscard]] std::string logFile() const { return readFile(home / "Quorvel_Helper.txt"); }

  TemporaryFolder home;
};

TEST_F(ConsoleTest, WritesTheSameEntryToStandardOutputAndToAFileThatBeginsAnew) {
  writeFile(home / "Quorvel_Helper.txt", "an earlier run");
  const std::string line = std::to_string(__LINE__ + 2);
  const std::string output = outputOf([] {
    FunctionLog{"didChangeSelect(sender:)"}({"text", std::vector<std::string>{}, 1});
    Console::log({}, "/a/b/Some.cpp//", "run()", 7);
  });
  EXPECT_EQ(logFile(), output);
  const std::string first =
      " in ConsoleTests.cpp didChangeSelect(sender:) [Line " + line + "]:\ntext\n[]\n1\n\n";
  EXPECT_EQ(output.find(first), 23U) << "behind the time\n" << output;
  EXPECT_TRUE(output.ends_with(" in Some.cpp run() [Line 7]:\n\n")) << output;
  EXPECT_EQ(parseLog(output).size(), 2U);
}

TEST_F(ConsoleTest, StampsEntriesWithTheLocalTime) {
  setEnvironment("TZ", "XYZ-05:30");
  const std::chrono::system_clock::time_point date(std::chrono::milliseconds(951'777'000'007));
  EXPECT_EQ(NSDateFormatter().stringFromDate(date), "2000-02-29 04:00:00.007");
}

std::string described(const LogItem& item) {
  std::string line;
  item.appendTo(line);
  return line;
}

TEST_F(ConsoleTest, QuotesTextsInListsAndResultsButLeavesTextsAlone) {
  const std::string text = "a\\b\"c'd\ne\rf\tg\0h\x1B\x7F\u00E4"s;
  const std::string quotation = R"("a\\b\"c\'d\ne\rf\tg\0h\u{1B}\u{7F})"s + "\u00E4\"";
  const auto list = std::vector{text, ""s};
  EXPECT_EQ(described(list), "[" + quotation + ", \"\"]");
  EXPECT_EQ(described(CommandResult{text, ""}), "(result: " + quotation + ", error: \"\")");
  EXPECT_EQ(described(text), text);
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
    logTo(end, logFromManyThreads);
    terminal.fileHandleForWriting().closeFile();
  });
  EXPECT_TRUE(eventually([&] {
    pollfd room{.fd = end, .events = POLLOUT, .revents = 0};
    return ::poll(&room, 1, 0) == 0;
  }));
  const auto output = readAll(terminal.fileHandleForReading().fileDescriptor(), SIZE_MAX);
  program.join();
  EXPECT_TRUE(parseLog(*output) == std::vector<LogEntry>(4000, {"one", "two"}));
  EXPECT_TRUE(*output == logFile());
}

TEST_F(ConsoleTest, KeepsNoMemoryOfALongEntry) {
  constexpr std::size_t kLong = std::size_t{64} << 20U;
  outputOf([] {
    Console::log({CommandResult{std::string(kLong, 'x'), ""}}, "Some.cpp", "run()", 1);
  });
  const auto [all, used] = std::pair(::mallinfo2().hblkhd, ::mallinfo2().uordblks);
  EXPECT_LT(all + used, kLong);
}

TEST_F(ConsoleTest, NeverWritesThroughALink) {
  writeFile(home / "precious", "kept");
  std::filesystem::create_symlink(home / "precious", home / "Quorvel_Helper.txt");
  Console::log({"first"}, "Some.cpp", "run()", 1);
  EXPECT_EQ(readFile(home / "precious"), "kept");
  EXPECT_EQ(parseLog(logFile()).size(), 1U);
}

}  // namespace
}  // namespace quorvel::test
