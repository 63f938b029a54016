// The main thread's event loop, for the parts of this layer that wait for something.
#pragma once

#include <systemd/sd-event.h>

#include <memory>

namespace quorvel {

struct EventSourceDeleter {
  void operator()(sd_event_source* source) const { ::sd_event_source_disable_unref(source); }
};
/// Owns an event source: it ends with its owner.
using EventSource = std::unique_ptr<sd_event_source, EventSourceDeleter>;

/// The loop that NSRunLoop runs. It is created at the first call and lives as long as the process;
/// main thread only.
sd_event* mainEventLoop();

/// Whether the caller is the process's first thread.
bool isMainThread();

}  // namespace quorvel
