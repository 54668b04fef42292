#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "platform/handle.h"

namespace velmora {

/// Runs a function in another thread once a time is over, unless it is stopped before: for calls
/// without a time-out. It never rings if the timer cannot be created. CreateTimerQueueTimer.
class Alarm {
  public:
    /// `ring` does not throw.
    Alarm(std::uint32_t milliseconds, std::function<void()> ring);
    ~Alarm() { stop(); }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    /// Afterwards it does not ring any more. Waits for a function that is running; true when it
    /// has run.
    bool stop() noexcept;

  private:
    static void CALLBACK onTimer(void* self, BOOLEAN fired) noexcept;

    std::function<void()> ring_;
    std::atomic<bool> rang_{false};
    HANDLE timer_ = nullptr;
};

}  // namespace velmora
