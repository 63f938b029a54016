// How fast time passes for the agent.
#pragma once

#include <filesystem>
#include <string>

namespace quorvel::test {

/// Of the agent's timers, in most tests.
inline constexpr int kUsualSpeed = 5;

/// Assignments for env(1) that make the timers of the agent, not those of its commands, run so many
/// times as fast: a test need not wait for the next scan. `library` is where fast-clock lies.
std::string fastClock(int speed, const std::filesystem::path& library = QUORVEL_FAST_CLOCK);

}  // namespace quorvel::test
