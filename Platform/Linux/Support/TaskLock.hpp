// How the tasks of an agent that was killed make themselves known to the next one.
#pragma once

namespace quorvel {

/// The user's home folder, opened with a shared lock that lasts as long as anybody holds the
/// descriptor (F_OFD_SETLK, fcntl(2)). Every task inherits it. -1 when the folder cannot be opened.
/// May be called from any thread.
[[nodiscard]] int taskLock();

/// Whether a task of an earlier agent of this user still runs. May be called from any thread.
[[nodiscard]] bool hasForeignTasks();

}  // namespace quorvel
