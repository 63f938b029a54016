// Paths of other people's, which may lead into a file system that never answers.
#pragma once

#include <string>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {

/// What the path leads to, as with O_PATH and these flags, if the way there is found promptly
/// (see runPromptly); else empty with errno set, to EAGAIN when there is no answer. Needs
/// Linux 5.12.
[[nodiscard]] UniqueFd openPromptly(const std::string& path, int flags);

}  // namespace quorvel
