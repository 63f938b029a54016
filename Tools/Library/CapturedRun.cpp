#include "Tools/Library/CapturedRun.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

std::optional<CapturedRun> runCapturing(ChildRequest request, Capture what) {
  constexpr std::size_t kLongestText = 65536;
  const UniqueFd nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  // Nobody waits for its reader, and what is said beyond its size is lost.
  const UniqueFd output(::memfd_create("output", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  static_cast<void>(::ftruncate(output.get(), kLongestText));
  ::fcntl(output.get(), F_ADD_SEALS, F_SEAL_GROW);
  if (request.standardInput < 0) {
    request.standardInput = nothing.get();
  }
  request.standardOutput = what == Capture::everything ? output.get() : -1;
  request.standardError = output.get();
  auto child = ChildProcess::start(request);
  if (!child) {
    return std::nullopt;
  }
  CapturedRun run{.status = child->wait(), .text = {}};
  const off_t length = ::lseek(output.get(), 0, SEEK_CUR);
  run.text.resize(static_cast<std::size_t>(std::max<off_t>(length, 0)));
  static_cast<void>(::pread(output.get(), run.text.data(), run.text.size(), 0));
  return run;
}

}  // namespace quorvel
