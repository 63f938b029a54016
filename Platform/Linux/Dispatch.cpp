#include "Platform/Dispatch/Dispatch.hpp"

#include <exception>
#include <string>
#include <thread>

#include "Platform/Foundation/NSLog.hpp"

namespace quorvel {
namespace {

void report(const std::exception& problem) {
  NSLog(std::string("Background work ended early: ") + problem.what());
}

void perform(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::exception& problem) {
    report(problem);
  }
}

}  // namespace

void dispatchAsyncOnGlobalQueue(std::function<void()> work) {
  try {
    std::thread(perform, std::move(work)).detach();
  } catch (const std::exception& problem) {
    report(problem);
  }
}

}  // namespace quorvel
