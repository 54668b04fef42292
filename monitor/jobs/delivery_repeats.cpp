#include "monitor/jobs/delivery_repeats.h"

#include <utility>

namespace velmora {
namespace {

constexpr std::int64_t kSeriesMs = 10 * 60 * 1000;
constexpr std::int64_t kEventMs = 60 * 1000;
/// A directory of printers may be edited for years; the oldest entries are forgotten first.
constexpr std::size_t kPrintersKept = 1024;

bool sameStart(const DeliveryEntry& a, const DeliveryEntry& b) {
    return a.job == b.job && a.document == b.document && a.printer == b.printer &&
           a.outcome == b.outcome && a.reason == b.reason;
}

}  // namespace

std::vector<DeliveryEntry> RepeatedStarts::admit(DeliveryEntry entry, bool startFailed) {
    const auto own = series_.find(entry.port);
    // Jobs without an id cannot be distinguished. A clock that was set back ends a series as well.
    if (own != series_.end() && startFailed && entry.job != 0 &&
        sameStart(own->second.last, entry) && entry.time >= own->second.begin &&
        entry.time - own->second.begin < kSeriesMs) {
        own->second.last = std::move(entry);
        ++own->second.counted;
        return {};
    }
    std::vector<DeliveryEntry> lines;
    for (auto series = series_.begin(); series != series_.end();) {
        const auto current = series++;
        const std::int64_t age = entry.time - current->second.begin;
        if (current->first == entry.port || age >= kSeriesMs || age < 0) close(current, lines);
    }
    if (startFailed && entry.job != 0) {
        series_.insert_or_assign(entry.port, Series{entry, entry.time});
    }
    lines.push_back(std::move(entry));
    return lines;
}

std::vector<DeliveryEntry> RepeatedStarts::finish() {
    std::vector<DeliveryEntry> lines;
    while (!series_.empty())
        close(series_.begin(), lines);
    return lines;
}

/// The counted starts get a line of their own: the last of them, and how many.
void RepeatedStarts::close(std::map<std::string, Series>::iterator series,
                           std::vector<DeliveryEntry>& lines) {
    if (series->second.counted != 0) {
        series->second.last.repeats = series->second.counted;
        lines.push_back(std::move(series->second.last));
    }
    series_.erase(series);
}

std::optional<std::uint32_t> EventLimiter::admit(const DeliveryEntry& entry) {
    const auto [printer, isNew] =
        printers_.try_emplace({entry.printer, entry.outcome}, Printer{entry.time});
    const std::int64_t age = entry.time - printer->second.last;
    if (!isNew && age >= 0 && age < kEventMs) {
        ++printer->second.leftOut;
        return std::nullopt;
    }
    printer->second.last = entry.time;
    const std::uint32_t leftOut = std::exchange(printer->second.leftOut, 0);
    if (printers_.size() > kPrintersKept) {
        std::erase_if(printers_, [&](const auto& one) {
            return one.second.leftOut == 0 && entry.time - one.second.last >= kEventMs;
        });
    }
    return leftOut;
}

}  // namespace velmora
