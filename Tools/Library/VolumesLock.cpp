#include "Tools/Library/VolumesLock.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <functional>
#include <string>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/SystemFiles.hpp"
#include "Tools/Library/ToolError.hpp"

namespace quorvel {
namespace {

// What can be taken is a byte of this file: the kernel tells who has locked it, and forgets about
// it when the process ends. The first bytes are names in /Volumes, the others devices; two that
// share a byte wait for each other needlessly, or get another number behind the name.
constexpr const char* kFile = "/run/quorvel-volumes.lock";
constexpr std::uint64_t kNames = 4096;
constexpr std::uint64_t kPartitions = 4096;
constexpr std::uint64_t kDevices = std::uint64_t{1} << 62U;

// Open until the end: closing any descriptor of the file gives all locks away.
int lockFile() {
  static const UniqueFd file(
      ::open(kFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) {
    throw ToolError(errorText(std::string("The lock file ") + kFile + " cannot be opened") +
                    ". See that /run is there and writable.");
  }
  return file.get();
}

struct flock request(short type, std::uint64_t byte, off_t length) {
  return {.l_type = type,
          .l_whence = SEEK_SET,
          .l_start = static_cast<off_t>(byte),
          .l_len = length,
          .l_pid = 0};
}

bool tryLock(std::uint64_t byte) {
  struct flock lock = request(F_WRLCK, byte, 1);
  return ::fcntl(lockFile(), F_SETLK, &lock) == 0;
}

std::uint64_t byteOf(const Identifier& identifier) {
  return kNames + (identifier.disk * kPartitions + identifier.partition.value_or(0)) % kDevices;
}

[[noreturn]] void giveUp(const Identifier& identifier) {
  struct flock lock = request(F_WRLCK, byteOf(identifier), 1);
  ::fcntl(lockFile(), F_GETLK, &lock);
  throw ToolError("Another program works on " + toText(identifier) + ": PID " +
                  std::to_string(lock.l_pid) + " (" + programOf(lock.l_pid) +
                  "). Wait until it has ended, or end it, and try again.");
}

}  // namespace

VolumesLock::VolumesLock() {
  lockFile();  // Should it throw, then here: without a lock there is nothing to give away.
  sigset_t all;
  ::sigfillset(&all);
  ::sigprocmask(SIG_BLOCK, &all, &signals_);  // NOLINT(concurrency-mt-unsafe): one thread
}

VolumesLock::~VolumesLock() {
  struct flock everything = request(F_UNLCK, 0, 0);
  ::fcntl(lockFile(), F_SETLK, &everything);
  ::sigprocmask(SIG_SETMASK, &signals_, nullptr);  // NOLINT(concurrency-mt-unsafe)
}

void VolumesLock::take(const BlockDevice& device) {
  constexpr int kTries = 600;
  constexpr timespec kPause{.tv_sec = 0, .tv_nsec = 50'000'000};
  for (int i = 1; !tryTake(device.identifier); ++i) {
    if (i == kTries) {
      giveUp(device.identifier);
    }
    ::ppoll(nullptr, 0, &kPause, &signals_);
  }
  const std::string node = "/dev/" + device.kernelName;
  device_.emplace(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!isPresent(listDevices(), device.identifier, device.number)) {
    throw ToolError("Unable to find disk for " + toText(device.identifier));
  }
}

bool VolumesLock::tryTake(const Identifier& identifier) { return tryLock(byteOf(identifier)); }

bool VolumesLock::tryTakeEntry(std::string_view name) {
  return tryLock(std::hash<std::string_view>()(name) % kNames);
}

}  // namespace quorvel
