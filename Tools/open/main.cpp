// open: shows a file or folder in the desktop's file manager.

#include <fcntl.h>
#include <unistd.h>

#include <sys/stat.h>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: open PATH\n"
    "       open --help\n"
    "Shows the file or folder in the desktop's file manager and does not wait for it.\n";

std::string variable(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): one thread
  return value == nullptr ? "" : value;
}

void requireFile(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) {
    return;
  }
  const int error = errno;
  if (error == ENOENT || error == ENOTDIR) {
    throw ToolError("The file " + printable(path) + " does not exist.");
  }
  throw ToolError(errorText("The file " + printable(path) + " cannot be reached", error) +
                  ". Check the permissions of its folders.");
}

void requireDesktop(const std::string& path) {
  if (variable("DISPLAY").empty() && variable("WAYLAND_DISPLAY").empty()) {
    throw ToolError("open: " + printable(path) +
                    " cannot be shown: there is no graphical session here. Run this in a terminal "
                    "of your desktop, or look at it with ls.");
  }
}

std::string findLauncher(const std::string& path) {
  for (std::string rest = variable("PATH") + ":/usr/bin:"; !rest.empty();) {
    const std::size_t end = rest.find(':');
    std::string candidate = rest.substr(0, end) + "/xdg-open";
    rest.erase(0, end + 1);
    if (candidate.front() == '/' && candidate.size() > 9 &&
        ::access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  throw ToolError("open: " + printable(path) +
                  " cannot be shown: the program xdg-open is not installed. Install the package "
                  "xdg-utils and try again.");
}

void launch(const std::string& launcher, const std::string& path) {
  const UniqueFd nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  ChildRequest request;
  request.path = launcher;
  request.arguments = {std::filesystem::absolute(path).string()};  // Never read as an option.
  request.standardInput = nothing.get();
  request.standardOutput = nothing.get();
  request.standardError = nothing.get();
  request.newSession = true;
  if (!ChildProcess::start(request)) {
    throw ToolError(errorText("open: " + launcher + " cannot be started") +
                    ". Reinstall the package xdg-utils.");
  }
}

int openPath(Arguments arguments) {
  if (arguments.size() != 1 || std::string_view(arguments.front()).empty()) {
    throw UsageError("open: exactly one path is needed.");
  }
  const std::string path = arguments.front();
  requireFile(path);
  requireDesktop(path);
  launch(findLauncher(path), path);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  // What we start lives on, and must not hold what the agent's commands hold while they run.
  ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
  const quorvel::Arguments arguments(argv, static_cast<std::size_t>(argc));
  return quorvel::runTool(quorvel::kUsage, arguments.subspan(1), quorvel::openPath);
}
