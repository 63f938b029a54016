#include "Shared/Script.hpp"

#include "Platform/Foundation/NSTask.hpp"
#include "Platform/Text/UTF8.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kShell = "/bin/zsh";

// Far beyond what any command has to say; without a limit, one that prints for ever would take all
// of the machine's memory.
constexpr std::size_t kLargestOutput = std::size_t{256} << 20U;

std::string joinedByBlanks(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined.append(&text == &texts.front() ? "" : " ").append(text);
  }
  return joined;
}

std::vector<std::string> argumentsFor(std::string_view launchPath,
                                      const std::vector<std::string>& arguments) {
  if (launchPath != kShell) {
    return arguments;
  }
  return {"-c", joinedByBlanks(arguments)};
}

}  // namespace

CommandResult Script::run(std::string_view launchPath,
                          std::optional<std::string_view> currentDirectoryPath,
                          const std::vector<std::string>& arguments) {
  NSTask task;
  task.setLaunchPath(launchPath);
  if (currentDirectoryPath) {
    task.setCurrentDirectoryPath(*currentDirectoryPath);
  }
  NSPipe output;
  // What a command says before it is done, such as sudo's prompt, it says here: also when we are
  // killed meanwhile, a volume must not be left half way.
  NSPipe error = NSPipe::outlivingReader();
  task.setStandardOutput(output);
  task.setStandardError(error);
  task.setArguments(argumentsFor(launchPath, arguments));
  if (!task.launch()) {
    return {};
  }
  auto said = readDataToEndOfFile(output.fileHandleForReading(), error.fileHandleForReading(),
                                  kLargestOutput);
  if (!said) {
    task.killWithSubtasks();
    return {};
  }
  task.terminate();
  return {decodeUTF8(std::move(said->first)), decodeUTF8(std::move(said->second))};
}

}  // namespace quorvel
