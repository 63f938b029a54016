// A session bus of the test's own, and what a panel does on it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Support/BusObjects.hpp"
#include "Platform/Linux/Support/ChildProcess.hpp"
#include "Tests/Support/Files.hpp"
#include "Tools/statusmenu/MenuClient.hpp"

namespace quorvel::test {

/// Programs started while it lives find it in their environment.
class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void begin();
  void end();
  /// Has the socket stay and nobody answer, until the bus is to go on.
  void stop() const { signal("-STOP"); }
  void goOn() const { signal("-CONT"); }

 private:
  void signal(const std::string& option) const;

  TemporaryFolder folder_;
  std::optional<ChildProcess> daemon_;
};

/// A panel, as far as the agent can tell. Before it asks for the menu it waits for the agent.
class Panel {
 public:
  Panel();

  /// Becomes the watcher that items register with; true when one registers before patience ends.
  bool watchesAnItemRegister();
  /// Whether the agent's item is on the bus before patience ends.
  [[nodiscard]] bool seesAgent() const;
  /// Asks as hosts do that do not wait; true when the signal of a new layout comes.
  [[nodiscard]] bool announceShowing();
  /// Whether the signal of a new layout has come since it was last asked for.
  [[nodiscard]] bool isToldOfALayout();
  [[nodiscard]] std::vector<MenuEntry> layout() const;
  /// Asks as hosts do that wait for an answer, and for the layout; a line an entry: "label",
  /// "(label)" when greyed, "-" for a separator.
  [[nodiscard]] std::vector<std::string> openMenu() const;
  /// Whether the menu comes to show this in its first line before patience ends.
  [[nodiscard]] bool shows(std::string_view first) const;
  void sendEvent(std::int32_t id, const char* type) const;
  /// Chooses the entry of that label in the layout as it is.
  void choose(std::string_view label) const;

 private:
  [[nodiscard]] const MenuClient& menu() const;
  void handleWhatHasCome() const;

  MenuClient menu_;
  sd_bus* bus_ = menu_.bus();
  BusSlot watcher_;
  BusSlot layoutMatch_;
  bool hasItem_ = false;
  bool isLayoutAnnounced_ = false;
};

}  // namespace quorvel::test
