// The main application, as far as the agent can tell: the other half of their messages.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Linux/Support/Bus.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::test {

inline constexpr const char* kRequest = "com.quorvel.Manager.Helper.do";
inline constexpr const char* kNotice = "com.quorvel.Manager.Helper.do.Finsh";

class MainApplication {
 public:
  MainApplication();

  template <typename... Arguments>
  void post(const char* name, const char* types, Arguments... arguments) const {
    EXPECT_GE(
        ::sd_bus_emit_signal(bus_.get(), kPath, kInterface, "Posted", types, name, arguments...),
        0);
    ::sd_bus_flush(bus_.get());
  }
  void notice(const std::string& object) const { post(kNotice, "savu", 1, "s", object.c_str(), 2); }

  /// What has been posted since the last call, once there is anything: "add,A 2" with its options.
  std::vector<std::string> takeRequests();

 private:
  static constexpr const char* kPath = "/com/quorvel/DistributedNotifications";
  static constexpr const char* kInterface = "com.quorvel.DistributedNotifications";

  Bus bus_;
  std::vector<std::string> requests_;
};

}  // namespace quorvel::test
