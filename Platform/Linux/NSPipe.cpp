#include "Platform/Foundation/NSPipe.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <string>
#include <utility>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

// Open for reading as well: when we are killed, a task that goes on writing still has a reader,
// itself, and comes to its end. Otherwise it would be torn off at the next word that it says.
UniqueFd lastingWritingEnd(int writingEnd) {
  const std::string path = "/proc/self/fd/" + std::to_string(writingEnd);
  return UniqueFd(::open(path.c_str(), O_RDWR | O_CLOEXEC));
}

std::pair<int, int> makePipe() {
  std::array<int, 2> ends{-1, -1};
  static_cast<void>(::pipe2(ends.data(), O_CLOEXEC));  // On failure both stay -1.
  UniqueFd reading(ends[0]);
  UniqueFd writing(ends[1]);
  if (UniqueFd lasting = lastingWritingEnd(ends[1])) {
    writing = std::move(lasting);
  }
  return {reading.release(), writing.release()};
}

}  // namespace

NSPipe::NSPipe() : NSPipe(makePipe()) {}

}  // namespace quorvel
