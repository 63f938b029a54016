#include "Shared/Console.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "Tests/Support/Files.hpp"
#include "Tests/Support/LogReader.hpp"

namespace quorvel::test {
namespace {

using namespace std::string_literals;

class ConsoleTest : public testing::Test {
 protected:
  ConsoleTest() { setEnvironment("HOME", home.path()); }

  /// Logs with standard output in a file, and returns what came out there.
  template <typename Work>
  std::string outputOf(const Work& work) {
    const int saved = ::dup(STDOUT_FILENO);
    const int file = ::open((home / "stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(file, STDOUT_FILENO);
    ::close(file);
    work();
    ::dup2(saved, STDOUT_FILENO);
    ::close(saved);
    return readFile(home / "stdout");
  }
  [[nodiscard]] std::string logFile() const { return readFile(home / "Quorvel_Helper.txt"); }

  TemporaryFolder home;
};

TEST_F(ConsoleTest, WritesTheSameEntryToStandardOutputAndToAFileThatBeginsAnew) {
  writeFile(home / "Quorvel_Helper.txt", "an earlier run");
  const std::string output = outputOf([] {
    Console::log({"text", std::vector<std::string>{}, 1}, "/a/b/Some.cpp//", "run()", 42);
    Console::log({}, "Some.cpp", "a(b:)", 7);
  });
  EXPECT_EQ(logFile(), output);
  const auto header = [&](std::string_view rest) { return output.find(rest); };
  EXPECT_EQ(header(" in Some.cpp run() [Line 42]:\ntext\n[]\n1\n\n"), 23U) << output;
  EXPECT_NE(header(" in Some.cpp a(b:) [Line 7]:\n\n"), std::string::npos) << output;
  EXPECT_EQ(parseLog(output).size(), 2U);
}

TEST_F(ConsoleTest, StampsEntriesWithTheLocalTime) {
  setEnvironment("TZ", "XYZ-05:30");
  NSDateFormatter formatter;
  formatter.setDateFormat("yyyy-MM-dd HH:mm:ss.SSS");
  const std::chrono::system_clock::time_point date(std::chrono::milliseconds(951'777'000'007));
  EXPECT_EQ(formatter.stringFromDate(date), "2000-02-29 04:00:00.007");
}

TEST_F(ConsoleTest, TakesFileAndLineFromTheCall) {
  const FunctionLog log{"didChangeSelect(sender:)"};
  const int line = __LINE__ + 1;
  log({"item"});
  const std::string expected = " in ConsoleTests.cpp didChangeSelect(sender:) [Line " +
                               std::to_string(line) + "]:\nitem\n\n";
  EXPECT_NE(logFile().find(expected), std::string::npos) << logFile();
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

TEST_F(ConsoleTest, KeepsEntriesOfManyThreadsWholeAndInOrder) {
  const std::string output = outputOf([] {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
      threads.emplace_back([] {
        for (int i = 0; i < 50; ++i) {
          Console::log({"one", "two"}, "Some.cpp", "run()", 1);
        }
      });
    }
    for (auto& thread : threads) {
      thread.join();
    }
  });
  const auto entries = parseLog(output);
  ASSERT_EQ(entries.size(), 400U);
  for (const LogEntry& entry : entries) {
    EXPECT_EQ(entry.items, (std::vector<std::string>{"one", "two"}));
  }
  std::vector<std::string> times;
  for (std::size_t at = 0; at != std::string::npos + 2; at = output.find("\n\n", at) + 2) {
    times.push_back(output.substr(at, 23));
  }
  times.pop_back();
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
  EXPECT_EQ(logFile(), output);
}

TEST_F(ConsoleTest, GoesOnWithoutAFileAndDoesNotTryItAgain) {
  setEnvironment("HOME", home / "missing");
  const std::string output = outputOf([&] {
    Console::log({"first"}, "Some.cpp", "run()", 1);
    std::filesystem::create_directories(home / "missing");
    Console::log({"second"}, "Some.cpp", "run()", 1);
  });
  EXPECT_EQ(parseLog(output).size(), 2U);
  EXPECT_FALSE(std::filesystem::exists(home / "missing/Quorvel_Helper.txt"));
}

TEST_F(ConsoleTest, NeverWritesThroughALinkOrDeletesAFolder) {
  writeFile(home / "precious", "kept");
  std::filesystem::create_symlink(home / "precious", home / "Quorvel_Helper.txt");
  Console::log({"first"}, "Some.cpp", "run()", 1);
  EXPECT_EQ(readFile(home / "precious"), "kept");
  EXPECT_EQ(parseLog(logFile()).size(), 1U);
}

TEST_F(ConsoleTest, LosesAnEntryThatDoesNotFitFromTheFileAndNothingElse) {
  static_cast<void>(::signal(SIGXFSZ, SIG_IGN));
  Console::log({"first"}, "Some.cpp", "run()", 1);
  const std::string before = logFile();
  const auto saved = [] {
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    return limit;
  }();
  const rlimit full{before.size() + 30, saved.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &full);
  Console::log({std::string(1000, 'x')}, "Some.cpp", "run()", 1);
  EXPECT_EQ(logFile(), before) << "half an entry stays";
  ::setrlimit(RLIMIT_FSIZE, &saved);
  Console::log({"third"}, "Some.cpp", "run()", 1);
  EXPECT_EQ(loggedItems(home.path()), (std::vector<std::string>{"first", "third"}));
}

}  // namespace
}  // namespace quorvel::test
