#include <algorithm>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <utility>

#include "port/url_text.h"
#include "velmoractl/at_once.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/printer_jobs.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct JobsOptions {
    std::string url;
    std::string port;
    Credentials credentials;
    unsigned timeout = 30;
    unsigned id = 0;  ///< of "job cancel"
    bool completed = false;
    Option urlOption;
    Option portOption;

    std::chrono::seconds limit() const { return std::chrono::seconds(timeout); }
};

template <class T>
Json orNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json();
}

Json toJson(const ListedJob& job, const std::string& url) {
    return {{"url", toUtf8(maskedUrl(url))},
            {"id", orNull(job.id)},
            {"name", job.name},
            {"user", job.user},
            {"state", job.state},
            {"state-number", orNull(job.stateNumber)},
            {"reasons", job.reasons},
            {"kilobytes", orNull(job.kilobytes)}};
}

PrintTarget typedPrinter(const JobsOptions& options, const std::string& what) {
    // Any URL may be asked; the rules for URLs are for what is stored.
    checkUrl(options.url, {.allowUnencrypted = true}, what);
    PrintTarget target{options.url, 0, "", ""};
    applyCredentials(options.credentials, target.useAuthentication, target.userName,
                     target.password, what);
    return target;
}

std::vector<PrintTarget> askedPrinters(const Session& session, const JobsOptions& options,
                                       const std::string& what) {
    if (options.urlOption.given() == options.portOption.given()) {
        throw CommandError(ExitCode::usage, what, "it needs a URL or a port",
                           "give one of them: jobs URL, or jobs --port NAME");
    }
    if (options.urlOption.given()) return {typedPrinter(options, what)};
    if (options.credentials.given()) {
        throw CommandError(ExitCode::usage, what, "the port's printers have users of their own",
                           "leave --user and --password out, or give a URL");
    }
    MonitorChannel channel(session);
    std::vector<PrintTarget> printers = channel.targets(options.port);
    if (printers.empty()) {
        throw CommandError(ExitCode::notFound, what, "the port's groups hold no printers",
                           "add some with \"printer add GROUP/NAME --url URL\"");
    }
    return printers;
}

CommandError problemWith(const PrinterProblem& problem, const std::string& what) {
    return {ExitCode::printerProblem, what, problem.words, problem.remedy, problem.keyword};
}

void jobs(const Session& session, const JobsOptions& options) {
    constexpr Column kColumns[] = {{"url", "PRINTER"}, {"id", "JOB"},       {"state", "STATE"},
                                   {"user", "USER"},   {"kilobytes", "KB"}, {"name", "NAME"}};
    const std::string what =
        "jobs " + (options.portOption.given() ? quotedAnsi(options.port) : quotedUrl(options.url));
    const std::vector<PrintTarget> printers = askedPrinters(session, options, what);
    std::vector<PrinterAnswer> answers(printers.size());
    atOnce(printers.size(), [&](std::size_t i) {
        try {
            const PrinterClient client(printers[i], options.limit());
            answers[i] = client.ask(jobsRequest(printers[i], options.completed));
        } catch (const std::exception&) {
            answers[i] = {};  // reported as a connection without an answer
        }
    });
    Json rows = Json::array();
    std::optional<CommandError> first;
    std::size_t failed = 0;
    for (std::size_t i = 0; i < printers.size(); ++i) {
        if (const auto problem = problemOf(answers[i])) {
            ++failed;
            const std::string name = quotedUrl(printers[i].url);
            std::string about = what;
            if (printers.size() > 1) about.append(": ").append(name);
            if (!first) first = problemWith(*problem, about);
            if (printers.size() > 1) session.warn(name + ": " + problem->words);
            continue;
        }
        for (const ListedJob& job : jobsOf(*answers[i].message))
            rows.push_back(toJson(job, printers[i].url));
    }
    if (first && failed == printers.size()) throw *first;
    // With one printer the column of printers would be the same in all lines.
    const std::span<const Column> columns = kColumns;
    session.list({options.urlOption.given() ? columns.subspan(1) : columns, "id",
                  printers.size() == 1 ? "The printer has no such jobs."
                                       : "The printers have no such jobs."},
                 std::move(rows));
    if (first) {
        throw CommandError(ExitCode::printerProblem, what,
                           std::to_string(failed) + " of " + std::to_string(printers.size()) +
                               " printers could not be asked",
                           "the jobs of the others are listed; \"probe --port NAME\" tells more");
    }
}

/// The job as the printer has it now.
ListedJob askJob(const PrinterClient& client, std::uint32_t id, const std::string& what) {
    constexpr std::uint32_t kNotFound = 0x0406;
    constexpr std::uint32_t kGone = 0x0407;
    const PrinterAnswer answer =
        client.ask(jobRequest(IppOperation::getJobAttributes, client.target(), id));
    if (answer.message) {
        const std::uint32_t status = answer.message->operationOrStatus & 0xFFFF;
        if (status == kNotFound || status == kGone) {
            throw CommandError(ExitCode::notFound, what, "the printer has no such job",
                               "\"jobs URL\" lists the jobs that it has");
        }
    }
    if (const auto problem = problemOf(answer)) throw problemWith(*problem, what);
    const std::vector<ListedJob> jobs = jobsOf(*answer.message);
    if (jobs.empty()) {
        throw CommandError(ExitCode::printerProblem, what, "the printer tells nothing of the job",
                           "check the printer");
    }
    return jobs.front();
}

void cancel(const Session& session, const JobsOptions& options) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kPause{300};
    const std::string what =
        "job cancel " + quotedUrl(options.url) + " " + std::to_string(options.id);
    const PrinterClient client(typedPrinter(options, what), options.limit());
    ListedJob job = askJob(client, options.id, what);
    if (job.ended()) {
        throw CommandError(ExitCode::conflict, what, "the job has ended already: " + job.state,
                           "there is nothing to cancel");
    }
    const PrinterAnswer answer =
        client.ask(jobRequest(IppOperation::cancelJob, client.target(), options.id));
    if (const auto problem = problemOf(answer)) throw problemWith(*problem, what);
    // The printer may end it some time after it has agreed.
    const Clock::time_point end = Clock::now() + options.limit();
    for (job = askJob(client, options.id, what); !job.ended() && Clock::now() < end;
         job = askJob(client, options.id, what)) {
        std::this_thread::sleep_for(kPause);
    }
    job.id = options.id;
    if (job.state != "canceled") {
        throw CommandError(
            ExitCode::printerProblem, what,
            "the printer has said that it cancels the job, and the job is " + shown(job.state, 80),
            "\"jobs URL\" tells how it goes on");
    }
    if (session.wantsJson()) {
        session.answer({{"url", toUtf8(maskedUrl(options.url))},
                        {"id", options.id},
                        {"state", job.state},
                        {"state-number", orNull(job.stateNumber)},
                        {"reasons", job.reasons}});
    }
    session.say("Job " + std::to_string(options.id) + " has been cancelled.");
}

void addAskingOptions(Verb verb, JobsOptions& options) {
    addCredentialOptions(verb, options.credentials);
    verb.seconds("--timeout", options.timeout, 1, 600, "longest wait for each answer, in seconds");
}

}  // namespace

void addJobVerbs(Verb app, Session& session) {
    const auto asked = std::make_shared<JobsOptions>();
    Verb list = addVerb(app, session, "jobs", "list the jobs of a printer or of a port's printers",
                        "jobs ipp://printer.example/ipp/print --completed\n  velmoractl jobs "
                        "--port Office",
                        [&session, asked] { jobs(session, *asked); });
    asked->urlOption = list.text("url", asked->url, "the printer's URL", "URL");
    asked->portOption =
        list.text("--port", asked->port, "the jobs of all printers of this port", "NAME");
    list.flag("--completed", asked->completed, "the jobs that have ended (default: the others)");
    addOutputOption(list, session);
    addAskingOptions(list, *asked);

    constexpr unsigned kLargestId = 2147483647;
    const auto cancelled = std::make_shared<JobsOptions>();
    Verb group = app.group("job", "what is done with one job of a printer",
                           "job cancel ipp://printer.example/ipp/print 12");
    Verb verb = addVerb(group, session, "cancel", "cancel a job at the printer",
                        "job cancel ipp://printer.example/ipp/print 12",
                        [&session, cancelled] { cancel(session, *cancelled); });
    verb.text("url", cancelled->url, "the printer's URL", "URL").required();
    cancelled->urlOption = verb.number("id", cancelled->id, 1, kLargestId,
                                       "the job's number, as \"jobs\" lists it", "ID");
    cancelled->urlOption.required();
    addAskingOptions(verb, *cancelled);
}

}  // namespace velmora::ctl
