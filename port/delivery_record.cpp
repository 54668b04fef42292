#include "port/delivery_record.h"

#include <array>
#include <chrono>

#include "ipp/status_names.h"
#include "platform/digits.h"

namespace velmora {
namespace {

/// How many bytes a text may take in a line. The last limit always fits: five texts, and less than
/// a kilobyte for the rest.
constexpr std::array<std::size_t, 4> kTextLimits{kLongestDeliveryLine, 2048, 1024, 512};

/// Bytes that most lines fit in.
constexpr std::size_t kUsualLine = 512;

bool continuesCharacter(char c) noexcept {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// Writes one JSON object (RFC 8259) in one line.
class JsonLine {
  public:
    explicit JsonLine(std::size_t textLimit) : textLimit_(textLimit) { line_.reserve(kUsualLine); }

    bool cut() const noexcept { return cut_; }

    JsonLine& number(std::string_view key, std::uint64_t value) {
        name(key);
        appendDigits(line_, value);
        return *this;
    }
    /// A number given in thousandths.
    JsonLine& thousandths(std::string_view key, std::uint64_t value) {
        number(key, value / 1000);
        line_ += '.';
        appendDigits(line_, value % 1000, 3);
        return *this;
    }
    JsonLine& text(std::string_view key, std::string_view utf8) {
        name(key);
        line_ += '"';
        const std::size_t begin = line_.size();
        for (std::size_t i = 0; i < utf8.size();) {
            std::size_t end = i + 1;
            while (end < utf8.size() && continuesCharacter(utf8[end]))
                ++end;
            const std::size_t before = line_.size();
            character(utf8.substr(i, end - i));
            if (line_.size() - begin > textLimit_) {
                line_.resize(before);
                cut_ = true;
                break;
            }
            i = end;
        }
        line_ += '"';
        return *this;
    }
    JsonLine& yes(std::string_view key) {
        name(key);
        line_ += "true";
        return *this;
    }
    JsonLine& object(std::string_view key) {
        name(key);
        line_ += '{';
        first_ = true;
        return *this;
    }
    JsonLine& end() {
        line_ += '}';
        return *this;
    }

    std::string take() && {
        line_ += "}\n";
        return std::move(line_);
    }

  private:
    void name(std::string_view key) {
        if (!first_) line_ += ',';
        first_ = false;
        line_ += '"';
        line_ += key;
        line_ += "\":";
    }
    void character(std::string_view bytes) {
        const auto code = static_cast<unsigned char>(bytes.front());
        if (code == '"' || code == '\\') {
            line_ += '\\';
        } else if (code < 0x20 || code == 0x7F) {
            line_ += "\\u";
            appendDigits(line_, code, 4, 16);
            return;
        }
        line_ += bytes;
    }

    std::string line_ = "{";
    std::size_t textLimit_;
    bool first_ = true;
    bool cut_ = false;
};

std::string utcTime(std::int64_t milliseconds) {
    using namespace std::chrono;
    const sys_time<std::chrono::milliseconds> time{std::chrono::milliseconds(milliseconds)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    std::string text;
    const auto part = [&](std::uint64_t number, unsigned width, char after) {
        appendDigits(text, number, width);
        text += after;
    };
    part(static_cast<std::uint64_t>(static_cast<int>(date.year())), 4, '-');
    part(static_cast<unsigned>(date.month()), 2, '-');
    part(static_cast<unsigned>(date.day()), 2, 'T');
    part(static_cast<std::uint64_t>(clock.hours().count()), 2, ':');
    part(static_cast<std::uint64_t>(clock.minutes().count()), 2, ':');
    part(static_cast<std::uint64_t>(clock.seconds().count()), 2, '.');
    part(static_cast<std::uint64_t>(clock.subseconds().count()), 3, 'Z');
    return text;
}

void addReason(JsonLine& line, const DeliveryEntry& entry) {
    const DeliveryReason& reason = entry.reason;
    if (reason.httpStatus != 0) line.number("http-status", reason.httpStatus);
    if (reason.ippStatus) {
        line.object("ipp-status").number("code", *reason.ippStatus);
        const std::string_view name = ippStatusName(*reason.ippStatus);
        if (!name.empty()) line.text("keyword", name);
        line.end();
    }
    if (reason.error != 0) {
        line.object("error").number("code", reason.error).text("text", entry.errorText).end();
    }
    if (reason.step != DeliveryStep::none) line.text("step", keyword(reason.step));
}

std::string lineWithin(const DeliveryEntry& entry, std::size_t textLimit) {
    JsonLine line(textLimit);
    line.text("time", utcTime(entry.time))
        .text("port", entry.port)
        .number("job", entry.job)
        .text("document", entry.document)
        .text("user", entry.user)
        .text("printer", entry.printer)
        .number("targets", entry.targets)
        .number("target", entry.target)
        .number("bytes", entry.bytes)
        .thousandths("seconds", entry.duration)
        .text("outcome", keyword(entry.outcome));
    addReason(line, entry);
    if (line.cut()) line.yes("cut");
    if (entry.repeats != 0) line.number("repeats", entry.repeats);
    if (entry.lost != 0) line.number("lost", entry.lost);
    return std::move(line).take();
}

}  // namespace

std::string_view keyword(DeliveryOutcome outcome) noexcept {
    constexpr std::array<std::string_view, 6> kKeywords{"accepted",   "refused",     "no-answer",
                                                        "incomplete", "not-reached", "abandoned"};
    return kKeywords[static_cast<std::size_t>(outcome)];
}

std::string_view keyword(DeliveryStep step) noexcept {
    constexpr std::array<std::string_view, 7> kKeywords{
        "", "resolve", "connect", "probe", "authenticate", "send", "answer"};
    return kKeywords[static_cast<std::size_t>(step)];
}

std::string deliveryLine(const DeliveryEntry& entry) {
    std::string line;
    for (const std::size_t limit : kTextLimits) {
        line = lineWithin(entry, limit);
        if (line.size() <= kLongestDeliveryLine) break;
    }
    return line;
}

std::string deliveryFileName(unsigned age) {
    return age == 0 ? "deliveries.jsonl" : "deliveries." + std::to_string(age) + ".jsonl";
}

}  // namespace velmora
