#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::ctl {

// The record of deliveries as the program shows it. Texts are UTF-8.

/// One line of the record.
struct DeliveryLine {
    std::string raw;        ///< as it is in the file, without its line feed
    std::int64_t time = 0;  ///< milliseconds since 1970 in UTC
    std::string port;
    std::uint32_t job = 0;
    std::string document;
    bool cut = false;  ///< texts are, since the line would have been too long
    std::string user;
    std::string printer;
    std::uint32_t targets = 0;
    std::uint32_t target = 0;
    std::string outcome;
    std::uint64_t bytes = 0;
    std::uint32_t repeats = 0;
    std::string reason;  ///< in words; empty if the printer accepted the job

    bool accepted() const { return outcome == "accepted"; }
};

/// Empty if the line is damaged: not a JSON object, or one without time, port, printer and outcome.
std::optional<DeliveryLine> parseDeliveryLine(std::string_view line);

struct DeliveryFilter {
    std::optional<std::string> port;     ///< the whole name
    std::optional<std::string> printer;  ///< a part of the URL
    std::optional<std::uint32_t> job;
    bool failed = false;
    std::int64_t since = 0;

    bool takes(const DeliveryLine& line) const;
};

/// "90s", "30m", "2h", "7d" before `now`, or the beginning of a day or minute as "2026-11-22" and
/// "2026-11-22 14:30" in local time. `toUtc` turns local milliseconds into those of UTC. None if it
/// is neither.
std::optional<std::int64_t> parseSince(std::string_view text, std::int64_t now,
                                       std::int64_t (*toUtc)(std::int64_t));

/// "2026-11-22T03:27:41.123Z" as milliseconds since 1970; empty if it is not such a time.
std::optional<std::int64_t> parseUtcTime(std::string_view text);

/// "2026-11-22 14:30:05" of milliseconds since 1970.
std::string timeText(std::int64_t milliseconds);

/// The outcomes of the jobs of one port at one printer.
struct DeliverySummary {
    std::uint32_t accepted = 0;
    std::uint32_t refused = 0;
    std::uint32_t failed = 0;
    std::int64_t lastSuccess = 0;  ///< 0: none
};
using DeliverySummaries = std::map<std::pair<std::string, std::string>, DeliverySummary>;

/// By port and printer. A line that stands for repeated starts counts for each of them.
void addToSummary(DeliverySummaries& summaries, const DeliveryLine& line);

/// The outcome of every copy of one job, as far as the record has it.
class JobCopies {
  public:
    /// `job`: the spooler's number. A line with another number but 0 is of another job; with 0 it
    /// is identified by port and document, so only lines that were written after the job began are
    /// to be given to this object.
    JobCopies(std::string port, std::uint32_t job, std::string document)
        : port_(std::move(port)), job_(job), document_(std::move(document)) {}

    /// Takes the line if it is of the job: a later one of the same copy counts.
    void add(const DeliveryLine& line);

    /// By `target`; a job without any printer is one copy with target 0.
    const std::map<std::uint32_t, DeliveryLine>& lines() const { return lines_; }
    /// Whether there is a line of each copy.
    bool complete() const;
    bool allAccepted() const;

  private:
    bool isOfJob(const DeliveryLine& line) const;

    std::string port_;
    std::uint32_t job_;
    std::string document_;
    std::map<std::uint32_t, DeliveryLine> lines_;
};

/// Cuts bytes that arrive in pieces into lines.
class LineCutter {
  public:
    /// The lines that are complete now.
    std::vector<std::string> feed(std::string_view bytes);
    /// What has arrived after the last line feed.
    const std::string& rest() const { return rest_; }
    void clear() { rest_.clear(); }

  private:
    std::string rest_;
};

}  // namespace velmora::ctl
