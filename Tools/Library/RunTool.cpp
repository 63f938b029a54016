#include "Tools/Library/RunTool.hpp"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr int kWrongUsage = 64;

bool asksForHelp(Arguments arguments) {
  return !arguments.empty() && std::string_view(arguments.front()) == "--help";
}

// A full disk or a closed pipe must not look like success to whoever reads the output.
int flushed(int status) { return std::fflush(stdout) == 0 ? status : EXIT_FAILURE; }

int complain(std::string_view message, std::string_view usage, int status) {
  static_cast<void>(std::fflush(stdout));
  printError(std::string(message) + "\n" + std::string(usage));
  return status;
}

}  // namespace

int runTool(std::string_view usage, int count, char** words,
            const std::function<int(Arguments)>& body) noexcept {
  const Arguments arguments = Arguments(words, static_cast<std::size_t>(count)).subspan(1);
  try {
    if (asksForHelp(arguments)) {
      print(usage);
      return flushed(0);
    }
    return flushed(body(arguments));
  } catch (const UsageError& error) {
    return complain(error.what(), usage, kWrongUsage);
  } catch (const ToolError& error) {
    return complain(error.what(), "", error.status());
  } catch (const std::exception& error) {
    return complain(
        "The system did not do what it should: " + std::string(error.what()) + ". Try again.", "",
        EXIT_FAILURE);
  }
}

void print(std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stdout));
}

void printError(std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace quorvel
