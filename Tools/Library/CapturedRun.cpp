#include "Tools/Library/CapturedRun.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kLongestText = 65536;

// Reads on after the limit, so that the writer never blocks.
std::string readToEnd(const UniqueFd& pipe) {
  std::string text;
  std::array<char, 4096> block{};
  while (true) {
    const ssize_t count = ::read(pipe.get(), block.data(), block.size());
    if (count == 0 || (count < 0 && errno != EINTR)) {
      return text;
    }
    if (count > 0 && text.size() < kLongestText) {
      text.append(block.data(), static_cast<std::size_t>(count));
    }
  }
}

}  // namespace

std::optional<CapturedRun> runCapturing(ChildRequest request, Capture what) {
  std::array<int, 2> ends{-1, -1};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  const UniqueFd reader(ends[0]);
  UniqueFd writer(ends[1]);
  const UniqueFd nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (request.standardInput < 0) {
    request.standardInput = nothing.get();
  }
  request.standardOutput = what == Capture::everything ? writer.get() : -1;
  request.standardError = writer.get();
  auto child = ChildProcess::start(request);
  if (!child) {
    return std::nullopt;
  }
  writer.reset();
  CapturedRun run;
  run.text = readToEnd(reader);
  run.status = child->wait();
  return run;
}

std::optional<std::string> runPromptly(const std::string& path,
                                       const std::vector<std::string>& arguments) {
  constexpr int kTries = 200;
  constexpr std::chrono::milliseconds kPause(10);
  const UniqueFd nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  const UniqueFd output(::memfd_create("output", MFD_CLOEXEC));
  auto child = ChildProcess::start({.path = path,
                                    .arguments = arguments,
                                    .directory = {},
                                    .standardInput = nothing.get(),
                                    .standardOutput = output.get(),
                                    .standardError = nothing.get()});
  for (int i = 0; child && i < kTries; ++i) {
    if (child->collectIfEnded()) {
      ::lseek(output.get(), 0, SEEK_SET);
      return readToEnd(output);
    }
    std::this_thread::sleep_for(kPause);
  }
  if (child) {
    child->killGroup();
  }
  errno = EAGAIN;
  return std::nullopt;
}

}  // namespace quorvel
