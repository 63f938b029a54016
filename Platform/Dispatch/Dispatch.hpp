// Work for other threads.
#pragma once

#include <functional>

namespace quorvel {

/// Has `work` run on a thread of the global concurrent queue, soon. Work may block as long as it
/// likes: it never delays another item. Whatever it throws ends that item and is reported on
/// standard error; so is a thread that cannot be had. May be called from any thread.
void dispatchAsyncOnGlobalQueue(std::function<void()> work);

}  // namespace quorvel
