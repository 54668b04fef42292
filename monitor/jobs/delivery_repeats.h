#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "port/delivery_record.h"

namespace velmora {

/// Counts the starts of one job that fail again and again, instead of a line for each: the spooler
/// tries a job that cannot start every few seconds for as long as it is in the queue.
class RepeatedStarts {
  public:
    /// The lines to write after `entry`, in order. `startFailed`: the spooler was told that the job
    /// cannot start, and will try again.
    std::vector<DeliveryEntry> admit(DeliveryEntry entry, bool startFailed);

    /// The remaining lines, when the library is unloaded.
    std::vector<DeliveryEntry> finish();

  private:
    struct Series {
        DeliveryEntry last;
        std::int64_t begin;         ///< of the line that was written
        std::uint32_t counted = 0;  ///< starts after it
    };

    void close(std::map<std::string, Series>::iterator series, std::vector<DeliveryEntry>& lines);

    std::map<std::string, Series> series_;  ///< by port
};

/// Keeps failures from flooding the event log: one event for each printer, outcome and minute.
class EventLimiter {
  public:
    /// None if this failure is to be left out; otherwise how many were left out since the last one
    /// like it.
    std::optional<std::uint32_t> admit(const DeliveryEntry& entry);

  private:
    struct Printer {
        std::int64_t last;
        std::uint32_t leftOut = 0;
    };

    std::map<std::pair<std::string, DeliveryOutcome>, Printer> printers_;
};

}  // namespace velmora
