#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "monitor/jobs/delivery_repeats.h"
#include "platform/mutex.h"
#include "port/delivery_record.h"

namespace velmora {

/// How much of it the policy asked for when the job began.
struct DeliveryLogSettings {
    std::uint32_t recordMiB = 0;  ///< 0: no record
    std::uint32_t events = 0;     ///< 0 nothing, 1 failures, 2 everything

    bool on() const noexcept { return recordMiB != 0 || events != 0; }
};

/// What a delivery log writes to, and its clock.
class DeliveryOutput {
  public:
    virtual ~DeliveryOutput() = default;
    /// Appends lines to the record. Returns how many were written; of the others nothing remains.
    virtual std::size_t append(std::span<const std::string> lines, std::uint32_t recordMiB) = 0;
    /// Reports the delivery as an event; `leftOut`: how many like it were not reported before.
    virtual void report(const DeliveryEntry& entry, std::uint32_t leftOut) = 0;
    /// The system's message for an error code, in UTF-8.
    virtual std::string words(std::uint32_t error) = 0;
    /// A clock that never goes back, in milliseconds.
    virtual std::int64_t now() = 0;
    /// Lets this thread sleep.
    virtual void sleep(std::uint32_t milliseconds) = 0;
};

/// Collects the outcomes of deliveries and writes them from a thread of its own, which exists only
/// while there is something to write: no job waits for a disk. A line is written at once if none
/// was within the last second; the others gather until that is over, since starting a thread and
/// opening files cost many times what a line does. Lines that cannot be written are counted and
/// reported by the next one that can.
class DeliveryLog {
  public:
    /// Starts a thread with the given body and does not wait for it; false if there is none.
    using StartThread = bool (*)(void (*body)(void*), void* log);

    DeliveryLog(DeliveryOutput& output, StartThread startThread)
        : output_(output), startThread_(startThread) {}
    DeliveryLog(const DeliveryLog&) = delete;
    DeliveryLog& operator=(const DeliveryLog&) = delete;

    /// Called from any thread; does not wait. `startFailed`: the spooler was told that the job
    /// cannot start and will try again.
    void add(DeliveryEntry entry, bool startFailed, DeliveryLogSettings settings) noexcept;

    /// Has the collected lines written, with the repeated starts counted so far.
    void flush() noexcept;
    /// Whether its thread has something to write.
    bool running() noexcept;

    /// Writes the remaining lines on the calling thread, when the library is unloaded. Nothing may
    /// be added any more and no thread of the log may run.
    void finish() noexcept;

  private:
    struct Item {
        std::optional<DeliveryEntry> entry;  ///< empty: report the repeated starts
        bool startFailed = false;
        DeliveryLogSettings settings;
    };

    static void run(void* log) noexcept;
    void writeAll() noexcept;
    void gather() noexcept;
    bool gathering() noexcept;
    std::vector<Item> next() noexcept;
    void wake() noexcept;
    void write(Item item);
    void collect(std::vector<DeliveryEntry> entries, std::uint32_t recordMiB);
    void writeCollected() noexcept;
    std::size_t appendCollected(std::uint32_t lost) noexcept;
    void lose(std::size_t lines) noexcept;
    std::uint32_t takeLost() noexcept;

    DeliveryOutput& output_;
    StartThread startThread_;
    Mutex mutex_;
    // With the mutex held.
    std::vector<Item> items_;
    bool running_ = false;
    bool used_ = false;
    bool hurries_ = false;  ///< nothing gathers any more until all is written
    std::uint32_t lost_ = 0;
    // The writer's own.
    std::optional<std::int64_t> lastWrite_;  ///< by the output's clock
    RepeatedStarts repeats_;
    EventLimiter events_;
    std::vector<DeliveryEntry> collected_;  ///< to be written at once
    std::uint32_t recordMiB_ = 0;           ///< for those; of the last line
};

}  // namespace velmora
