#include "Platform/Foundation/NSTask.hpp"

#include "Platform/Linux/Support/ChildProcess.hpp"

namespace quorvel {

struct NSTask::Description {
  ChildRequest request;
  NSPipe* standardOutput = nullptr;
  NSPipe* standardError = nullptr;
  std::optional<ChildProcess> child;
};

namespace {

int writingEnd(NSPipe* pipe) {
  return pipe == nullptr ? -1 : pipe->fileHandleForWriting().fileDescriptor();
}

bool isMissing(NSPipe* pipe) { return pipe != nullptr && writingEnd(pipe) < 0; }

void closeWritingEnd(NSPipe* pipe) {
  if (pipe != nullptr) {
    pipe->fileHandleForWriting().closeFile();
  }
}

}  // namespace

NSTask::NSTask() : description_(std::make_unique<Description>()) {}
NSTask::~NSTask() = default;

void NSTask::setLaunchPath(std::string_view path) { description_->request.path = path; }
void NSTask::setCurrentDirectoryPath(std::string_view path) {
  description_->request.directory = path;
}
void NSTask::setArguments(const std::vector<std::string>& arguments) {
  description_->request.arguments = arguments;
}
void NSTask::setStandardOutput(NSPipe& pipe) { description_->standardOutput = &pipe; }
void NSTask::setStandardError(NSPipe& pipe) { description_->standardError = &pipe; }

bool NSTask::launch() {
  NSPipe* const output = description_->standardOutput;
  NSPipe* const error = description_->standardError;
  if (isMissing(output) || isMissing(error)) {
    return false;
  }
  description_->request.standardOutput = writingEnd(output);
  description_->request.standardError = writingEnd(error);
  // Without our terminal: sudo would leave a ticket on it, for whatever the user starts there.
  description_->request.newSession = true;
  auto child = ChildProcess::start(description_->request);
  closeWritingEnd(output);
  closeWritingEnd(error);
  if (child) {
    description_->child.emplace(std::move(*child));
  }
  return description_->child.has_value();
}

void NSTask::terminate() {
  if (description_->child) {
    description_->child->terminate();
  }
}

void NSTask::killWithSubtasks() {
  if (description_->child) {
    description_->child->killGroup();
  }
}

}  // namespace quorvel
