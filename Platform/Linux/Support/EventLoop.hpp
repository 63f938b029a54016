// The main thread's event loop, for the parts of this layer that wait for something.
#pragma once

#include <systemd/sd-event.h>

#include <chrono>
#include <functional>

#include "Platform/Linux/Support/Owned.hpp"

namespace quorvel {

/// Owns an event source: it ends with its owner.
using EventSource = Owned<sd_event_source, ::sd_event_source_disable_unref>;

/// The loop that NSRunLoop runs. It is created at the first call, which the main thread makes, and
/// lives as long as the process; main thread only.
sd_event* mainEventLoop();

/// Calls `handler` with `context` once, so much later, on a clock that neither jumps nor counts
/// time asleep; or again, when it sets another time. Main thread only.
[[nodiscard]] EventSource startTimer(std::chrono::microseconds delay,
                                     sd_event_time_handler_t handler, void* context);

/// Calls `block` again and again, for the first time one interval from now, on the same clock.
/// Calls that were missed are not made up for. Main thread only.
void repeatOutsideMenus(std::chrono::microseconds interval, std::function<void()> block);

/// Tells the loop whether the user is in a menu: what is repeated outside menus waits meanwhile;
/// what was due then comes once afterwards. Main thread only.
void setMenuTracking(bool isTracked);

/// Whether the caller is the process's first thread.
bool isMainThread();

/// Has `work` done by the main loop after what it is doing now. May be called from any thread.
void performLater(std::function<void()> work);

/// Has `work` done by the main loop when nothing else is waiting for it: a piece at a time, in the
/// order of the calls, and whatever comes up meanwhile goes before the next one. May be called from
/// any thread.
void performWhenIdle(std::function<void()> work);

/// Does `work` for a thread, or a callback of the system's libraries, through which no exception
/// may pass: it is reported on standard error.
void performGuarded(const std::function<void()>& work) noexcept;

}  // namespace quorvel
