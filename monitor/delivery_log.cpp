#include "monitor/delivery_log.h"

#include <mutex>
#include <utility>

namespace velmora {
namespace {

/// A disk that hangs must not take the spooler's memory. A line's entry is about half a kilobyte.
constexpr std::size_t kLongestQueue = 4096;
/// The collected lines are written at the latest when there are this many.
constexpr std::size_t kLongestGathering = kLongestQueue / 4;
constexpr std::int64_t kGatheringMs = 1000;
constexpr std::uint32_t kGatheringStepMs = 50;

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
    hurries_ = true;
    if (!used_) return;
    try {
        items_.push_back({});
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
    {
        const std::lock_guard lock(mutex_);
        hurries_ = true;
    }
    writeAll();
    try {
        collect(repeats_.finish(), recordMiB_);
    } catch (...) {
        // There may be no later line to report it.
    }
    writeCollected();
}

void DeliveryLog::run(void* log) noexcept {
    static_cast<DeliveryLog*>(log)->writeAll();
}

void DeliveryLog::writeAll() noexcept {
    for (;;) {
        gather();
        std::vector<Item> items = next();
        if (items.empty()) return;
        for (Item& item : items) {
            try {
                write(std::move(item));
            } catch (...) {
                const std::lock_guard lock(mutex_);
                lose(1);
            }
        }
        writeCollected();
        lastWrite_ = output_.now();
    }
}

void DeliveryLog::gather() noexcept {
    if (!lastWrite_) return;
    while (gathering() && output_.now() - *lastWrite_ < kGatheringMs)
        output_.sleep(kGatheringStepMs);
}

bool DeliveryLog::gathering() noexcept {
    const std::lock_guard lock(mutex_);
    return !hurries_ && !items_.empty() && items_.size() < kLongestGathering;
}

/// Empty, without a thread any more, if there is nothing left.
std::vector<DeliveryLog::Item> DeliveryLog::next() noexcept {
    const std::lock_guard lock(mutex_);
    if (items_.empty()) running_ = hurries_ = false;
    std::vector<Item> items;  // which, unlike a deque, takes no memory while it is empty
    items.swap(items_);
    return items;
}

void DeliveryLog::write(Item item) {
    if (!item.entry) return collect(repeats_.finish(), recordMiB_);
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
    collect(repeats_.admit(std::move(entry), item.startFailed), item.settings.recordMiB);
}

void DeliveryLog::collect(std::vector<DeliveryEntry> entries, std::uint32_t recordMiB) {
    if (recordMiB != recordMiB_) writeCollected();
    recordMiB_ = recordMiB;
    for (DeliveryEntry& entry : entries)
        collected_.push_back(std::move(entry));
}

void DeliveryLog::writeCollected() noexcept {
    if (collected_.empty()) return;
    const std::uint32_t lost = takeLost();
    const std::size_t written = appendCollected(lost);
    const std::size_t left = collected_.size() - written;
    collected_ = {};  // a burst must not keep its memory
    const std::lock_guard lock(mutex_);
    lose(left + (written == 0 ? lost : 0));
}

/// The first line says how many were lost before it.
std::size_t DeliveryLog::appendCollected(std::uint32_t lost) noexcept {
    try {
        collected_.front().lost = lost;
        std::vector<std::string> lines;
        lines.reserve(collected_.size());
        for (const DeliveryEntry& entry : collected_)
            lines.push_back(deliveryLine(entry));
        return output_.append(lines, recordMiB_);
    } catch (...) {
        return 0;  // memory has run out
    }
}

/// With the mutex held.
void DeliveryLog::lose(std::size_t lines) noexcept {
    lost_ += static_cast<std::uint32_t>(lines);
}

std::uint32_t DeliveryLog::takeLost() noexcept {
    const std::lock_guard lock(mutex_);
    return std::exchange(lost_, 0);
}

}  // namespace velmora
