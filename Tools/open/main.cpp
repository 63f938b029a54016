// open: shows a file or folder in the desktop's file manager.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/RunTool.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

constexpr std::string_view kUsage =
    "Usage: open PATH\n"
    "       open --help\n"
    "Shows the file or folder in the desktop's file manager and does not wait for it.\n";

void requireFile(const std::string& path) {
  if (::access(path.c_str(), F_OK) == 0) {
    return;
  }
  if (errno == ENOENT || errno == ENOTDIR) {
    throw ToolError("The file " + printable(path) + " does not exist.");
  }
  throw ToolError(errorText("The file " + printable(path) + " cannot be reached") +
                  ". Check the permissions of its folders.");
}

bool isSet(const char* variable) {
  const char* const value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): one thread
  return value != nullptr && *value != '\0';
}

void requireDesktop(const std::string& path) {
  if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) {
    throw ToolError("open: " + printable(path) +
                    " cannot be shown: there is no graphical session here. Run this in a terminal "
                    "of your desktop, or look at it with ls.");
  }
}

void launch(const std::string& path) {
  const std::string absolute = std::filesystem::absolute(path);  // Never read as an option.
  if (!ChildProcess::startDetached("xdg-open", {absolute})) {
    throw ToolError(errorText("open: " + printable(path) + " cannot be shown: xdg-open") +
                    ". Install the package xdg-utils and try again.");
  }
}

int openPath(Arguments arguments) {
  if (arguments.size() != 1 || std::string_view(arguments.front()).empty()) {
    throw UsageError("open: exactly one path is needed.");
  }
  const std::string path = arguments.front();
  requireFile(path);
  requireDesktop(path);
  launch(path);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quorvel

int main(int argc, char** argv) {
  return quorvel::runTool(quorvel::kUsage, argc, argv, quorvel::openPath);
}
