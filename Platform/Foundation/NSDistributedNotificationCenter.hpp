// Messages between the processes of one user.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "Platform/Foundation/NSNotification.hpp"
#include "Platform/Foundation/NSObject.hpp"

namespace quorvel {

/// Posting option: deliver in all sessions of the user.
inline constexpr std::uint32_t NSDistributedNotificationPostToAllSessions = 2;

class NSDistributedNotificationCenter : public NSObject {
 public:
  static NSDistributedNotificationCenter& defaultCenter();

  /// Sends the notification `name` with the text `object` to whoever observes it; without a
  /// session bus it goes nowhere. Texts are UTF-8. May be called from any thread; on the main
  /// thread the notification is on its way when the call returns.
  void postNotificationName(std::string_view name, std::string_view object, std::uint32_t options);

  using Callback = std::function<void(const NSNotification&)>;
  /// Has `callback` called on the main thread for every notification `name` of any sender, as soon
  /// as there is a session bus. `observer` is who registers, once, for `removeObserver`. Main
  /// thread only, before the loop runs.
  void addObserver(const void* observer, Callback callback, std::string_view name);
  /// Ends the registration of the observer. Main thread only.
  void removeObserver(const void* observer);
};

}  // namespace quorvel
