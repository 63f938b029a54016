// The settings that the agent shares with the main application.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "Platform/Foundation/NSUserDefaults.hpp"

namespace quorvel {

/// The main application writes the settings, the agent only reads them, anew at every call. May be
/// used from any thread.
class SharedData {
 public:
  static constexpr std::string_view jobBlessKey = "Quorvel.Daemon.Status.Key";
  static constexpr std::string_view loginItemIsEnabledkey = "Quorvel.Helper.Login.Item.Enabled.Key";
  static constexpr std::string_view pwdKey = "Quorvel.Mac.PWD.Key";
  static constexpr std::string_view pluginStatusKey = "Quorvel.Plugin.Status.Key";
  static constexpr std::string_view managerStyleKey = "Quorvel.Manager.Style.Key";

  static const SharedData& shared();

  /// The user's administrator password; empty when none is stored as UTF-8 data. Says once on
  /// standard error when other users may read it too, in the file or in the texts of commands.
  [[nodiscard]] std::string pwd() const;
  /// True when the main application does the mounting, false when the agent does.
  [[nodiscard]] bool managerStyle() const;

 private:
  SharedData();

  void warnOnceOfOtherReaders() const;

  NSUserDefaults userDefault;
  mutable std::atomic<bool> hasWarnedOfFile{false};
  mutable std::atomic<bool> hasLookedAtProcesses{false};
};

}  // namespace quorvel
