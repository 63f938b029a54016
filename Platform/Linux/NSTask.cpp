#include "Platform/Foundation/NSTask.hpp"

#include "Platform/Linux/Support/ChildProcess.hpp"

namespace quorvel {

struct NSTask::Child {
  ChildProcess process;
};

bool NSTask::launch() {
  NSFileHandle& output = standardOutput_->fileHandleForWriting();
  NSFileHandle& error = standardError_->fileHandleForWriting();
  if (output.fileDescriptor() < 0 || error.fileDescriptor() < 0) {
    return false;
  }
  auto started = ChildProcess::start({.path = launchPath_,
                                      .arguments = arguments_,
                                      .directory = currentDirectoryPath_,
                                      .standardOutput = output.fileDescriptor(),
                                      .standardError = error.fileDescriptor()});
  output.closeFile();
  error.closeFile();
  if (started) {
    child_ = std::make_shared<Child>(Child{std::move(*started)});
  }
  return started.has_value();
}

void NSTask::terminate() { child_->process.terminate(); }

void NSTask::killWithSubtasks() { child_->process.killGroup(); }

}  // namespace quorvel
