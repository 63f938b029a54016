// Names that the agent shares with the main application.
#pragma once

#include <string_view>

namespace quorvel {

/// The main application's bundle identifier.
inline constexpr std::string_view kMainAppBundleIdentifier = "com.quorvel.Manager";
/// The settings store that both programs use.
inline constexpr std::string_view kAppGroupSuiteName = "com.quorvel.Manager.Shared";
/// Requests from the agent to the main application.
inline constexpr std::string_view kHelperDoNotification = "com.quorvel.Manager.Helper.do";

/// Notices from the main application to the agent, of work that is finished. Its last word is part
/// of the contract.
inline constexpr std::string_view kHelperDoFinishNotification =
    "com.quorvel.Manager.Helper.do.Finsh";

}  // namespace quorvel
