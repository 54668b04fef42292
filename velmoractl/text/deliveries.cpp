#include "velmoractl/text/deliveries.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "velmoractl/text/json.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

constexpr std::int64_t kSecond = 1000;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

std::string textAt(const Json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::uint64_t numberAt(const Json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

const Json& objectAt(const Json& json, const char* key) {
    static const Json none = Json::object();
    const auto found = json.find(key);
    return found != json.end() && found->is_object() ? *found : none;
}

void append(std::string& text, const std::string& part) {
    if (!text.empty()) text += ", ";
    text += part;
}

std::string_view stepInWords(std::string_view step) {
    constexpr std::pair<std::string_view, std::string_view> kSteps[] = {
        {"resolve", "the port reaches no printer"},
        {"connect", "no connection"},
        {"probe", "the question before the job failed"},
        {"authenticate", "user name or password not accepted"},
        {"send", "the connection broke"},
    };
    for (const auto& [keyword, words] : kSteps)
        if (keyword == step) return words;
    return step;
}

std::string reasonOf(const Json& json, const std::string& outcome) {
    std::string reason;
    const std::string step = textAt(json, "step");
    if (!step.empty() && step != "answer") append(reason, std::string(stepInWords(step)));
    if (const std::uint64_t status = numberAt(json, "http-status"); status != 0)
        append(reason, "HTTP status " + std::to_string(status));
    const Json& ipp = objectAt(json, "ipp-status");
    if (!ipp.empty() && outcome != "accepted") {
        std::string name = textAt(ipp, "keyword");
        if (name.empty()) name = "IPP status " + std::to_string(numberAt(ipp, "code"));
        append(reason, name);
    }
    const Json& error = objectAt(json, "error");
    if (!error.empty()) {
        const std::string code = "error " + std::to_string(numberAt(error, "code"));
        const std::string words = textAt(error, "text");
        append(reason, words.empty() ? code : words + " (" + code + ")");
    }
    if (reason.empty() && outcome == "no-answer") reason = "no usable answer";
    if (reason.empty() && outcome == "abandoned") reason = "the spooler never ended the job";
    return reason;
}

template <std::size_t N>
std::optional<std::array<int, N>> numbers(std::string_view text, std::string_view form) {
    // "0" in the form is a digit of the current number, anything else is itself and ends it.
    if (text.size() != form.size()) return std::nullopt;
    std::array<int, N> values{};
    std::size_t current = 0;
    for (std::size_t i = 0; i < form.size(); ++i) {
        if (form[i] == '0') {
            if (text[i] < '0' || text[i] > '9') return std::nullopt;
            values[current] = 10 * values[current] + (text[i] - '0');
        } else {
            if (text[i] != form[i]) return std::nullopt;
            ++current;
        }
    }
    return values;
}

std::optional<std::int64_t> timeOf(int year, int month, int day, int hour, int minute, int second,
                                   int millisecond) {
    using namespace std::chrono;
    const year_month_day date{std::chrono::year(year), std::chrono::month(unsigned(month)),
                              std::chrono::day(unsigned(day))};
    if (!date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
    const auto days = sys_days(date).time_since_epoch();
    return duration_cast<std::chrono::milliseconds>(days).count() + hour * kHour +
           minute * kMinute + second * kSecond + millisecond;
}

}  // namespace

std::optional<DeliveryLine> parseDeliveryLine(std::string_view line) {
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object()) return std::nullopt;
    DeliveryLine result;
    const auto time = parseUtcTime(textAt(json, "time"));
    result.raw = line;
    result.port = textAt(json, "port");
    result.outcome = textAt(json, "outcome");
    if (!time || result.outcome.empty() || !json.contains("port") || !json.contains("printer"))
        return std::nullopt;
    result.time = *time;
    result.job = static_cast<std::uint32_t>(numberAt(json, "job"));
    result.document = textAt(json, "document");
    result.cut = json.contains("cut");
    result.user = textAt(json, "user");
    result.printer = textAt(json, "printer");
    result.targets = static_cast<std::uint32_t>(numberAt(json, "targets"));
    result.target = static_cast<std::uint32_t>(numberAt(json, "target"));
    result.bytes = numberAt(json, "bytes");
    result.repeats = static_cast<std::uint32_t>(numberAt(json, "repeats"));
    result.reason = reasonOf(json, result.outcome);
    return result;
}

bool DeliveryFilter::takes(const DeliveryLine& line) const {
    return (!port || line.port == *port) &&
           (!printer || line.printer.find(*printer) != std::string::npos) &&
           (!job || line.job == *job) && (!failed || !line.accepted()) && line.time >= since;
}

std::optional<std::int64_t> parseSince(std::string_view text, std::int64_t now,
                                       std::int64_t (*toUtc)(std::int64_t)) {
    if (const auto day = numbers<3>(text, "0000-00-00")) {
        const auto time = timeOf((*day)[0], (*day)[1], (*day)[2], 0, 0, 0, 0);
        return time ? std::optional(toUtc(*time)) : std::nullopt;
    }
    for (const char* form : {"0000-00-00 00:00", "0000-00-00T00:00"}) {
        const auto minute = numbers<5>(text, form);
        if (!minute) continue;
        const auto time =
            timeOf((*minute)[0], (*minute)[1], (*minute)[2], (*minute)[3], (*minute)[4], 0, 0);
        return time ? std::optional(toUtc(*time)) : std::nullopt;
    }
    if (text.empty()) return std::nullopt;
    const auto count = wholeNumber<std::uint32_t>(text.substr(0, text.size() - 1));
    if (!count) return std::nullopt;
    switch (text.back()) {
        case 's':
            return now - *count * kSecond;
        case 'm':
            return now - *count * kMinute;
        case 'h':
            return now - *count * kHour;
        case 'd':
            return now - *count * kDay;
        default:
            return std::nullopt;
    }
}

std::optional<std::int64_t> parseUtcTime(std::string_view text) {
    const auto parts = numbers<7>(text, "0000-00-00T00:00:00.000Z");
    if (!parts) return std::nullopt;
    return timeOf((*parts)[0], (*parts)[1], (*parts)[2], (*parts)[3], (*parts)[4], (*parts)[5],
                  (*parts)[6]);
}

std::string timeText(std::int64_t milliseconds) {
    using namespace std::chrono;
    const sys_time<std::chrono::milliseconds> time{std::chrono::milliseconds(milliseconds)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(floor<seconds>(time - day));
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

void addToSummary(DeliverySummaries& summaries, const DeliveryLine& line) {
    DeliverySummary& one = summaries[{line.port, line.printer}];
    const std::uint32_t times = std::max(line.repeats, 1U);
    if (line.accepted()) {
        one.accepted += times;
        one.lastSuccess = std::max(one.lastSuccess, line.time);
    } else if (line.outcome == "refused") {
        one.refused += times;
    } else {
        one.failed += times;
    }
}

bool JobCopies::isOfJob(const DeliveryLine& line) const {
    if (line.port != port_) return false;
    if (line.job != 0) return line.job == job_;
    return line.document == document_ || (line.cut && document_.starts_with(line.document));
}

void JobCopies::add(const DeliveryLine& line) {
    if (isOfJob(line)) lines_.insert_or_assign(line.target, line);
}

bool JobCopies::complete() const {
    // A job with printers has no line with target 0: one that the spooler started again may.
    return !lines_.empty() && lines_.size() - lines_.count(0) >= lines_.rbegin()->second.targets;
}

bool JobCopies::allAccepted() const {
    return complete() &&
           std::ranges::all_of(lines_, [](const auto& one) { return one.second.accepted(); });
}

std::vector<std::string> LineCutter::feed(std::string_view bytes) {
    std::vector<std::string> lines;
    for (std::size_t end = bytes.find('\n'); end != std::string_view::npos;
         end = bytes.find('\n')) {
        lines.push_back(rest_ + std::string(bytes.substr(0, end)));
        rest_.clear();
        bytes.remove_prefix(end + 1);
    }
    rest_ += bytes;
    return lines;
}

}  // namespace velmora::ctl
