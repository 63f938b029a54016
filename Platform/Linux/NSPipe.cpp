#include "Platform/Foundation/NSPipe.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace quorvel {
namespace {

std::pair<int, int> makePipe() {
  std::array<int, 2> ends{-1, -1};
  static_cast<void>(::pipe2(ends.data(), O_CLOEXEC));  // On failure both stay -1.
  return {ends[0], ends[1]};
}

}  // namespace

NSPipe::NSPipe() : NSPipe(makePipe()) {}

}  // namespace quorvel
