#include "Tools/Library/RunTool.hpp"

#include <cstdio>
#include <exception>
#include <string>

#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 64;

bool asksForHelp(Arguments arguments) {
  return !arguments.empty() && std::string_view(arguments.front()) == "--help";
}

// A full disk or a closed pipe must not look like success to whoever reads the output.
int flushed(int status) { return std::fflush(stdout) == 0 ? status : kFailure; }

int complain(std::string_view message, std::string_view usage) {
  printError(std::string(message) + "\n" + std::string(usage));
  return kWrongUsage;
}

int guarded(std::string_view usage, Arguments arguments,
            const std::function<int(Arguments)>& body) {
  try {
    if (asksForHelp(arguments)) {
      print(usage);
      return flushed(0);
    }
    return flushed(body(arguments));
  } catch (const UsageError& error) {
    return complain(error.what(), usage);
  } catch (const std::exception& error) {
    static_cast<void>(std::fflush(stdout));
    printError(std::string(error.what()) + "\n");
    return kFailure;
  }
}

}  // namespace

int runTool(std::string_view usage, Arguments arguments,
            const std::function<int(Arguments)>& body) noexcept {
  return guarded(usage, arguments, body);
}

void print(std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stdout));
}

void printError(std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace quorvel
