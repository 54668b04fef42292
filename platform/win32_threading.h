#pragma once

#include <functional>
#include <memory>

#include "platform/event.h"
#include "platform/worker_thread.h"

namespace velmora {

/// An event, initially not signalled. It enters the kernel only where somebody waits. Throws
/// std::bad_alloc when the system has no kernel object left.
std::unique_ptr<Event> makeWin32Event(EventReset reset);

/// Runs `body`, which must not throw, in a new thread of normal priority with the default stack.
/// Null when no thread can be started; `body` is then not run. The library that this code is part
/// of stays loaded as long as the thread runs.
std::unique_ptr<WorkerThread> startWin32Thread(std::function<void()> body);

}  // namespace velmora
