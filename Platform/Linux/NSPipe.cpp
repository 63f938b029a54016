#include "Platform/Foundation/NSPipe.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <string>
#include <utility>

namespace quorvel {
namespace {

std::pair<int, int> makePipe() {
  std::array<int, 2> ends{-1, -1};
  static_cast<void>(::pipe2(ends.data(), O_CLOEXEC));  // On failure both stay -1.
  return {ends[0], ends[1]};
}

/// The writing end is open for reading as well: whoever writes has a reader, itself.
std::pair<int, int> makeOutlivingPipe() {
  const auto [reading, writing] = makePipe();
  const std::string path = "/proc/self/fd/" + std::to_string(writing);
  const int both = ::open(path.c_str(), O_RDWR | O_CLOEXEC);  // Where that fails, there is none.
  ::close(writing);
  return {reading, both};
}

}  // namespace

NSPipe::NSPipe() : NSPipe(makePipe()) {}

NSPipe NSPipe::outlivingReader() { return NSPipe(makeOutlivingPipe()); }

}  // namespace quorvel
