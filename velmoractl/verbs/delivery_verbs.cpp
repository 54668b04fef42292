#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "velmoractl/delivery_files.h"
#include "velmoractl/policy_key.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/table.h"
#include "velmoractl/text/whole_number.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct DeliveryOptions {
    std::string port;
    std::string printer;
    std::string job;
    std::string since;
    std::string last;
    bool failed = false;
    bool follow = false;
    bool summary = false;
};

constexpr DWORD kPollMs = 250;

constexpr Column kColumns[] = {
    {"time", "TIME"},       {"port", "PORT"},       {"job", "JOB"},       {"document", "DOCUMENT"},
    {"printer", "PRINTER"}, {"outcome", "OUTCOME"}, {"reason", "REASON"},
};
constexpr Column kSummaryColumns[] = {
    {"port", "PORT"},       {"printer", "PRINTER"}, {"accepted", "ACCEPTED"},
    {"refused", "REFUSED"}, {"failed", "FAILED"},   {"last-success", "LAST SUCCESS"},
};

CommandError badValue(const std::string& option, const std::string& value,
                      const std::string& remedy) {
    return {ExitCode::usage, "deliveries", option + " " + quotedAnsi(value) + " is not valid",
            remedy};
}

std::uint32_t numberOf(const std::string& option, const std::string& text) {
    const auto number = wholeNumber<std::uint32_t>(text);
    if (!number) throw badValue(option, text, "give a whole number");
    return *number;
}

DeliveryFilter filterOf(const DeliveryOptions& options) {
    DeliveryFilter filter;
    if (!options.port.empty()) filter.port = toUtf8(options.port);
    if (!options.printer.empty()) filter.printer = toUtf8(options.printer);
    if (!options.job.empty()) filter.job = numberOf("--job", options.job);
    filter.failed = options.failed;
    if (!options.since.empty()) {
        const auto since = parseSince(options.since, utcNow(), localToUtc);
        if (!since) {
            throw badValue("--since", options.since,
                           "write 30m, 2h, 7d, 2026-11-22 or \"2026-11-22 14:30\"");
        }
        filter.since = *since;
    }
    return filter;
}

Json rowOf(const DeliveryLine& line) {
    return {{"time", timeText(utcToLocal(line.time))},
            {"port", line.port},
            {"job", line.job},
            {"document", line.document},
            {"printer", line.printer},
            {"outcome",
             line.repeats == 0 ? line.outcome : line.outcome + " x" + std::to_string(line.repeats)},
            {"reason", line.reason}};
}

/// The lines as they are in the files: JSON Lines, for scripts.
void writeRaw(const std::vector<DeliveryLine>& lines) {
    std::string text;
    for (const DeliveryLine& line : lines)
        text += line.raw + "\n";
    writeOut(text);
}

void show(const Session& session, const std::vector<DeliveryLine>& lines, bool headings) {
    if (session.wantsJson()) return writeRaw(lines);
    Json rows = Json::array();
    for (const DeliveryLine& line : lines)
        rows.push_back(rowOf(line));
    if (session.output == "csv") return writeOut(csvText(kColumns, rows));
    if (session.output == "names") return writeOut(namesText("printer", rows));
    if (lines.empty() && !headings) return;
    writeOut(tableText(kColumns, rows, headings && isConsole(STD_OUTPUT_HANDLE)));
}

void showSummary(const Session& session, const std::vector<DeliveryLine>& lines) {
    DeliverySummaries summaries;
    for (const DeliveryLine& line : lines)
        addToSummary(summaries, line);
    Json rows = Json::array();
    for (const auto& [key, one] : summaries) {
        const Json last = one.lastSuccess == 0
                              ? Json(nullptr)
                              : Json(timeText(session.wantsJson() ? one.lastSuccess
                                                                  : utcToLocal(one.lastSuccess)));
        rows.push_back({{"port", key.first},
                        {"printer", key.second},
                        {"accepted", one.accepted},
                        {"refused", one.refused},
                        {"failed", one.failed},
                        {"last-success", last}});
    }
    if (session.wantsJson()) return session.answer(rows);
    if (session.output == "csv") return writeOut(csvText(kSummaryColumns, rows));
    if (session.output == "names") return writeOut(namesText("printer", rows));
    if (rows.empty()) return session.say("There are no deliveries.");
    writeOut(tableText(kSummaryColumns, rows, isConsole(STD_OUTPUT_HANDLE)));
}

void warnOfDamage(const Session& session, const DeliveryFiles& files, std::uint32_t& told) {
    const std::uint32_t found = files.damaged() - told;
    if (found == 0) return;
    session.warn(std::to_string(found) + (found == 1
                                              ? " damaged line of the record has been left out"
                                              : " damaged lines of the record have been left out"));
    told = files.damaged();
}

void deliveries(const Session& session, const DeliveryOptions& options) {
    const DeliveryFilter filter = filterOf(options);
    constexpr std::uint32_t kAll = std::numeric_limits<std::uint32_t>::max();
    const std::uint32_t last = options.last.empty() ? kAll : numberOf("--last", options.last);
    DeliveryFiles files(deliveryDirectoryOf(session.server));
    const auto take = [&] {
        std::vector<DeliveryLine> lines;
        files.read([&](DeliveryLine&& line) {
            if (filter.takes(line)) lines.push_back(std::move(line));
        });
        return lines;
    };
    std::vector<DeliveryLine> lines = take();
    if (lines.size() > last)
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(last));
    // A computer that does not answer is an error, not one without a record.
    if (!files.found() && !session.server.empty()) static_cast<void>(PolicyKey(session.server));
    if (!files.found() || !recordIsOn(session.server)) {
        session.warn(
            "the record of deliveries is off; \"policy set DeliveryRecord=20\" turns it on and "
            "keeps 20 MiB");
    }
    std::uint32_t told = 0;
    warnOfDamage(session, files, told);
    if (options.summary) return showSummary(session, lines);
    show(session, lines, true);
    if (!options.follow) {
        if (lines.empty()) session.say("There are no deliveries.");
        return;
    }
    const InterruptNote note;
    while (!InterruptNote::pressed()) {
        Sleep(kPollMs);
        show(session, take(), false);
        warnOfDamage(session, files, told);
    }
}

}  // namespace

void addDeliveryVerbs(Verb app, Session& session) {
    const auto options = std::make_shared<DeliveryOptions>();
    Verb verb = addVerb(app, session, "deliveries", "what became of every copy of every job",
                        "deliveries --failed --since 2h",
                        [&session, options] { deliveries(session, *options); });
    verb.text("--port", options->port, "of this port alone", "NAME");
    verb.text("--printer", options->printer, "of printers whose URL has this in it", "TEXT");
    verb.text("--job", options->job, "of the spooler's job with this number", "ID");
    verb.flag("--failed", options->failed, "only copies that were not accepted");
    verb.text("--since", options->since, "not older than 30m, 2h, 7d, or since a local day",
              "TIME");
    verb.text("--last", options->last, "only the newest, so many", "N");
    verb.flag("--follow", options->follow, "go on with new ones until Ctrl-C");
    verb.flag("--summary", options->summary, "counts by port and printer");
    addOutputOption(verb, session);
}

}  // namespace velmora::ctl
