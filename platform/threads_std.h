#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "platform/threads.h"

namespace velmora {

/// One call of threads.h.
struct ThreadCall {
    enum Kind { makeEvent, set, reset, pulse, wait, startThread, waitForEnd };

    Kind kind;
    EventReset event = EventReset::manual;  ///< of calls of an event
    std::uint32_t milliseconds = 0;         ///< of WaitForEnd
};

/// Hooks for tests in the standard-library source of threads.h; changed while no thread runs.
struct StdThreads {
    /// Called before each call, from any thread. False skips the call: the event or the thread
    /// cannot be made, a signal reaches no thread, a wait ends at once (for a thread: as if it had
    /// timed out).
    std::function<bool(const ThreadCall& call)> permit;
    /// How long a wait for a thread's end lasts instead of a millisecond.
    std::chrono::nanoseconds millisecond = std::chrono::milliseconds(1);
};

StdThreads& stdThreads() noexcept;

}  // namespace velmora
