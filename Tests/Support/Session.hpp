// A session bus of the test's own, and what a panel does on it.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Support/Bus.hpp"
#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Tests/Support/Files.hpp"
#include "Tools/statusmenu/MenuClient.hpp"

namespace quorvel::test {

/// Programs started while it lives find it in their environment.
class Session {
 public:
  Session() { begin(); }
  ~Session() { end(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void begin();
  void end();
  /// From "-STOP" on the socket stays and nobody answers, until "-CONT".
  void signal(const std::string& option) const;

 private:
  TemporaryFolder folder_;
  std::optional<ChildProcess> daemon_;
};

/// A panel, as far as the agent can tell, and the watcher that items register with. Before it asks
/// for the menu it waits for the agent.
class Panel {
 public:
  Panel();

  /// Whether a message with this name has come since it was last asked for: "LayoutUpdated" or
  /// "RegisterStatusNotifierItem".
  [[nodiscard]] bool gets(const std::string& member);
  /// Asks as hosts do that do not wait; true when the signal of a new layout comes.
  [[nodiscard]] bool announceShowing();
  [[nodiscard]] std::vector<MenuEntry> layout() const;
  /// Asks as hosts do that wait for an answer, and for the layout; a line an entry: "label",
  /// "(label)" when greyed, "-" for a separator.
  [[nodiscard]] std::vector<std::string> openMenu() const;
  /// Whether the menu comes to begin with these entries, "a, -, b", before patience ends.
  [[nodiscard]] bool shows(const std::string& entries) const;
  void sendEvent(std::int32_t id, const char* type) const { menu_.sendEvent(id, type); }
  /// Chooses the entry of that label in the layout as it is.
  void choose(std::string_view label) const;

 private:
  [[nodiscard]] const MenuClient& menu() const;

  MenuClient menu_;
  sd_bus* bus_ = menu_.bus();
  std::set<std::string> received_;
};

}  // namespace quorvel::test
