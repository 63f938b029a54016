// What only root may do, and how an ordinary user has it done.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

[[nodiscard]] bool isRoot();

/// Throws NeedsRoot unless we are root. `task` completes the sentence "Only root may ...".
void requireRoot(const std::string& task);

/// For a tool that may have been started by sudo, before it does anything: as root, forgets the
/// environment, which the caller wrote; keeps descriptors of the caller from reaching children.
void distrustCaller();

/// Runs this very program again as root, without asking for a password, and waits for it. Its
/// standard output is ours, and what it says on standard error is passed on. The exit status; none
/// when sudo refuses, after a message that says what to do about it.
[[nodiscard]] std::optional<int> runAgainAsRoot(const std::vector<std::string>& arguments);

/// The same, but what it prints, on either stream, is the result and goes nowhere else; none when
/// it ends with another status than 0. Throws ToolError when sudo refuses.
[[nodiscard]] std::optional<std::string> askAsRoot(const std::vector<std::string>& arguments);

/// One tool at a time mounts, unmounts and cleans up. Waits for the others, or, with `Wait::no`,
/// gives up (then the result is empty). Released when the descriptor is closed. Root only.
enum class Wait { no, yes };
[[nodiscard]] UniqueFd lockVolumes(Wait wait);

}  // namespace quorvel
