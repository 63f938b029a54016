#include "Helper/FolderTurn.hpp"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <utility>

namespace quorvel {
namespace {

constexpr std::chrono::seconds kPatience{30};

struct Turns {
  std::mutex mutex;
  std::condition_variable ended;
  std::set<std::string> taken;
};

Turns& turns() {
  static auto* const instance = new Turns;  // Immortal: a scan may outlive main.
  return *instance;
}

}  // namespace

FolderTurn::FolderTurn(std::string name) : name_(std::move(name)) {
  std::unique_lock lock(turns().mutex);
  isOurs_ = turns().ended.wait_for(lock, kPatience,
                                   [this] { return turns().taken.insert(name_).second; });
}

FolderTurn::~FolderTurn() {
  if (isOurs_) {
    const std::lock_guard lock(turns().mutex);
    turns().taken.erase(name_);
    turns().ended.notify_all();
  }
}

}  // namespace quorvel
