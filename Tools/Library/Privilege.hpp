// Working as root for somebody else: who that is, what must not come from him, and how he asks.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Tools/Library/CapturedRun.hpp"

namespace quorvel {

[[nodiscard]] bool isRoot();

/// Whom we work for: who called sudo, else root.
struct Caller {
  uid_t user = 0;
  gid_t group = 0;
};

/// As distrustCaller() found it; root only.
[[nodiscard]] const Caller& caller();

/// For a tool that may have been started by sudo, before it does anything: makes good what a caller
/// can prepare. The standard streams are open, children can be waited for; as root, also: the
/// environment is forgotten, resource limits, priorities and the control group are the system's, no
/// descriptor of the caller reaches a child, and what is printed is written at the end or when the
/// buffers (of 1 and 128 KiB) are full, so that whoever does not read it holds up nothing but the
/// end.
void distrustCaller();

/// Runs this very program again as root, without asking for a password, and waits for it. What is
/// captured of it is the result; with Capture::errors its standard output is ours. Throws ToolError
/// when sudo refuses, with what to do about it.
[[nodiscard]] CapturedRun runAgainAsRoot(const std::vector<std::string>& arguments, Capture what);

}  // namespace quorvel
