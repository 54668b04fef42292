#pragma once

#include <cstdint>

namespace velmora {

/// A running thread as its starter sees it. The thread must have ended before this is destroyed.
class WorkerThread {
  public:
    virtual ~WorkerThread() = default;

    /// Waits up to `milliseconds` for the thread's end; true once it has ended.
    virtual bool waitForEnd(std::uint32_t milliseconds) = 0;
};

}  // namespace velmora
