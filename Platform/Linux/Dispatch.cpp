#include "Platform/Dispatch/Dispatch.hpp"

#include <thread>

#include "Platform/Linux/Support/EventLoop.hpp"

namespace quorvel {

void dispatchAsyncOnGlobalQueue(std::function<void()> work) {
  performGuarded([&] { std::thread(performGuarded, std::move(work)).detach(); });
}

}  // namespace quorvel
