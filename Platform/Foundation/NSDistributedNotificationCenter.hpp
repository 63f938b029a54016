// Messages between the processes of one user.
#pragma once

#include <cstdint>
#include <string_view>

namespace quorvel {

/// Posting option: deliver in all sessions of the user.
inline constexpr std::uint32_t NSDistributedNotificationPostToAllSessions = 2;

class NSDistributedNotificationCenter {
 public:
  static NSDistributedNotificationCenter& defaultCenter();

  /// Sends the notification `name` with the text `object` to whoever observes it; without a
  /// session bus it goes nowhere. Texts are UTF-8. May be called from any thread; on the main
  /// thread the notification is on its way when the call returns.
  void postNotificationName(std::string_view name, std::string_view object, std::uint32_t options);

  NSDistributedNotificationCenter(const NSDistributedNotificationCenter&) = delete;
  NSDistributedNotificationCenter& operator=(const NSDistributedNotificationCenter&) = delete;
  NSDistributedNotificationCenter(NSDistributedNotificationCenter&&) = delete;
  NSDistributedNotificationCenter& operator=(NSDistributedNotificationCenter&&) = delete;

 private:
  NSDistributedNotificationCenter() = default;
  ~NSDistributedNotificationCenter() = default;
};

}  // namespace quorvel
