#include "platform/alarm.h"

#include <utility>

namespace velmora {

Alarm::Alarm(std::uint32_t milliseconds, std::function<void()> ring) : ring_(std::move(ring)) {
    if (!CreateTimerQueueTimer(&timer_, nullptr, onTimer, this, milliseconds, 0,
                               WT_EXECUTEONLYONCE))
        timer_ = nullptr;
}

bool Alarm::stop() noexcept {
    // INVALID_HANDLE_VALUE: the call waits for the function.
    if (const HANDLE timer = std::exchange(timer_, nullptr))
        DeleteTimerQueueTimer(nullptr, timer, INVALID_HANDLE_VALUE);
    return rang_.load();
}

void CALLBACK Alarm::onTimer(void* self, BOOLEAN) noexcept {
    auto* const alarm = static_cast<Alarm*>(self);
    alarm->rang_.store(true);
    alarm->ring_();
}

}  // namespace velmora
