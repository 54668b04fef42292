#include "monitor/delivery_log.h"

#include <mutex>
#include <utility>

namespace velmora {
namespace {

/// A disk that hangs must not take the spooler's memory. A line's entry is about half a kilobyte.
constexpr std::size_t kLongestQueue = 4096;

}  // namespace

void DeliveryLog::add(DeliveryEntry entry, bool startFailed,
                      DeliveryLogSettings settings) noexcept {
    if (!settings.on()) return;
    const std::lock_guard lock(mutex_);
    if (items_.size() >= kLongestQueue) {
        lose(1);
        return;
    }
    try {
        items_.push_back({std::move(entry), startFailed, settings});
    } catch (...) {
        lose(1);
        return;
    }
    wake();
}

void DeliveryLog::flush() noexcept {
    const std::lock_guard lock(mutex_);
    if (!used_) return;
    try {
        items_.push_back({std::nullopt, false, {}});
    } catch (...) {
        return;
    }
    wake();
}

bool DeliveryLog::running() noexcept {
    const std::lock_guard lock(mutex_);
    return running_;
}

/// With the mutex held.
void DeliveryLog::wake() noexcept {
    used_ = true;
    if (running_) return;
    running_ = true;
    if (startThread_([](void* log) { run(log); }, this)) return;
    running_ = false;
    // The next line tries again; these are kept for it.
}

void DeliveryLog::finish() noexcept {
    while (std::optional<Item> item = next()) {
        try {
            write(std::move(*item));
        } catch (...) {
            lose(1);
        }
    }
    tellRepeats();
}

void DeliveryLog::tellRepeats() noexcept {
    try {
        for (DeliveryEntry& entry : repeats_.finish())
            writeLine(std::move(entry), recordMiB_);
    } catch (...) {
        return;  // there may be no later line to tell it
    }
}

void DeliveryLog::run(void* address) noexcept {
    auto& log = *static_cast<DeliveryLog*>(address);
    while (std::optional<Item> item = log.next()) {
        try {
            log.write(std::move(*item));
        } catch (...) {
            const std::lock_guard lock(log.mutex_);
            log.lose(1);
        }
    }
}

/// None, and no thread any more, if there is nothing left.
std::optional<DeliveryLog::Item> DeliveryLog::next() noexcept {
    const std::lock_guard lock(mutex_);
    if (items_.empty()) {
        running_ = false;
        return std::nullopt;
    }
    std::optional<Item> item(std::move(items_.front()));
    items_.pop_front();
    return item;
}

void DeliveryLog::write(Item item) {
    if (!item.entry) return tellRepeats();
    DeliveryEntry& entry = *item.entry;
    if (entry.reason.error != 0) entry.errorText = output_.words(entry.reason.error);
    const bool failure = entry.outcome != DeliveryOutcome::accepted;
    if (item.settings.events >= (failure ? 1U : 2U)) {
        if (!failure) {
            output_.report(entry, 0);
        } else if (const auto leftOut = events_.admit(entry)) {
            output_.report(entry, *leftOut);
        }
    }
    if (item.settings.recordMiB == 0) return;
    recordMiB_ = item.settings.recordMiB;
    for (DeliveryEntry& line : repeats_.admit(std::move(entry), item.startFailed))
        writeLine(std::move(line), recordMiB_);
}

void DeliveryLog::writeLine(DeliveryEntry entry, std::uint32_t recordMiB) {
    {
        const std::lock_guard lock(mutex_);
        entry.lost = std::exchange(lost_, 0);
    }
    bool written = false;
    try {
        written = output_.append(deliveryLine(entry), recordMiB);
    } catch (...) {
        written = false;
    }
    if (written) return;
    const std::lock_guard lock(mutex_);
    lose(entry.lost + 1);
}

void DeliveryLog::lose(std::uint32_t lines) noexcept {
    lost_ += lines;
}

}  // namespace velmora
