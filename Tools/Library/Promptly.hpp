// System calls on paths of other people's, which may lead into a file system that never answers.
#pragma once

#include <functional>
#include <optional>

namespace quorvel {

/// Has system calls made by a child process, which may hang in our place: what `work` returned (0
/// to 255). None when that takes longer than two seconds, which are not counted where `isPatient`,
/// or when there can be no child. One that hangs is left to itself and holds nothing of ours.
/// `work` must not throw, and does best not to allocate. For a process with one thread.
[[nodiscard]] std::optional<int> doPromptly(const std::function<int()>& work,
                                            bool isPatient = false);

}  // namespace quorvel
