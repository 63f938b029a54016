// Why the menu could not be shown or used, told apart by exit status.
#pragma once

#include <string>

#include "Tools/Library/ToolError.hpp"

namespace quorvel {

/// The exit statuses beside 0, 1 (anything else went wrong) and 64 (wrong arguments).
enum class ExitStatus : int {
  noItem = 3,         ///< Nobody on the bus has that name, or there is no menu to be had from it.
  noEntry = 4,        ///< The entry is not there, is not unique, or cannot be chosen.
  noAnswer = 5,       ///< The item is there and keeps silent.
  noSessionBus = 69,  ///< EX_UNAVAILABLE of sysexits.h.
};

/// Ends the tool with the status that it carries.
class StatusError : public ToolError {
 public:
  StatusError(ExitStatus status, const std::string& text) : ToolError(text), status_(status) {}

  [[nodiscard]] ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

}  // namespace quorvel
