#include "Platform/Linux/Support/EventLoop.hpp"

#include <unistd.h>

namespace quorvel {

sd_event* mainEventLoop() {
  static sd_event* const loop = [] {
    sd_event* created = nullptr;
    ::sd_event_new(&created);
    return created;
  }();
  return loop;
}

bool isMainThread() { return ::gettid() == ::getpid(); }

}  // namespace quorvel
