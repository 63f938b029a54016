// The agent's menu, used over the session bus as a panel uses it: for the terminal, and for the
// tests and benchmarks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/Linux/Support/Bus.hpp"

namespace quorvel {

/// The agent's name on the session bus, and where its menu is.
inline constexpr const char* kAgentName = "com.quorvel.Manager.Helper";
inline constexpr const char* kMenuPath = "/MenuBar";
inline constexpr const char* kMenuInterface = "com.canonical.dbusmenu";

/// What `statusmenu` ends with when there is no agent, or no session bus (EX_UNAVAILABLE of
/// sysexits.h).
inline constexpr int kNoAgent = 3;
inline constexpr int kNoSessionBus = 69;

/// An entry as the protocol describes it. The agent's menu is flat.
struct MenuEntry {
  std::int32_t id = 0;
  std::string label;  ///< As it came: a "_" is doubled, since a single one would mark a key.
  bool isEnabled = true;
  bool isSeparator = false;
};

/// A connection of its own to one menu. Every call waits for its answer, and throws a ToolError
/// that says why and what to do when none comes. Use from one thread.
class MenuClient {
 public:
  /// `service` is the bus name that the menu belongs to.
  explicit MenuClient(std::string service = kAgentName);

  [[nodiscard]] sd_bus* bus() const { return bus_.get(); }

  /// Has the menu brought up to date; whether the layout is to be fetched.
  [[nodiscard]] bool aboutToShow() const;

  /// The reply to GetLayout, to be read by `entriesOf`.
  [[nodiscard]] BusMessage layout() const;

  /// Tells that an entry was "clicked", or (id 0) that the menu was "opened" or "closed".
  void sendEvent(std::int32_t id, const char* type) const;

 private:
  template <typename... Arguments>
  BusMessage call(const char* member, const char* types, Arguments... arguments) const;

  Bus bus_;
  std::string service_;
};

/// The entries in a reply to GetLayout. A property of the wrong type counts as left out. Throws a
/// ToolError when it is no such reply.
[[nodiscard]] std::vector<MenuEntry> entriesOf(const BusMessage& layout);

}  // namespace quorvel
