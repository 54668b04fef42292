#include <algorithm>
#include <chrono>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "port/delivery_record.h"
#include "port/policy_store.h"
#include "port/url_text.h"
#include "velmoractl/delivery_files.h"
#include "velmoractl/document_handover.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/policy_key.h"
#include "velmoractl/printer_jobs.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/progress_bar.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/print_check.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

using namespace std::chrono_literals;

struct PrintOptions {
    std::string file;
    std::string port;
    std::string title;
    unsigned wait = 300;
    unsigned timeout = 30;
    bool noCheck = false;
    bool follow = false;

    std::chrono::seconds limit() const { return std::chrono::seconds(timeout); }
};

constexpr auto kPoll = 100ms;
constexpr auto kFollowPoll = 1s;
/// A call of the spooler that withdraws a job may itself block.
constexpr auto kLongestTakingBack = 10s;
/// A port that is written to directly has ended its job when the document has: what the record does
/// not have soon after has been lost.
constexpr auto kRecordDelay = 15s;
/// A start that fails is recorded at once.
constexpr auto kFailedStartDelay = 5s;

std::string baseName(const std::string& path) {
    return path.substr(path.find_last_of("\\/:") + 1);
}

std::uint64_t sizeOf(std::ifstream& file) {
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    file.seekg(0);
    return size > 0 ? static_cast<std::uint64_t>(size) : 0;
}

CommandError cancelled(const std::string& what, const std::string& why) {
    return {ExitCode::cancelled, what, why, "print it again"};
}

/// The record from now on; empty if the outcome of a job cannot be known.
std::unique_ptr<DeliveryFiles> recordFromNow(const Session& session) {
    const std::string cannotKnow = "what becomes of the job cannot be known: ";
    if (!recordIsOn(session.server)) {
        session.warn(cannotKnow +
                     "the record of deliveries is off; \"policy set DeliveryRecord=20\" turns it "
                     "on");
        return nullptr;
    }
    auto record = std::make_unique<DeliveryFiles>(deliveryDirectoryOf(session.server));
    try {
        record->skip();
        return record;
    } catch (const CommandError& error) {
        session.warn(cannotKnow + error.what());
        return nullptr;
    }
}

/// A queue that prints to the port, or the port itself when there is none: a port can be tried
/// before a printer is made for it. Another computer's spooler opens no port.
std::pair<UniquePrinter, DocumentHandover::To> openPrinter(const Session& session,
                                                           const std::string& port,
                                                           const std::string& what) {
    const std::vector<std::string> queues = printersOfPort(session, port);
    if (queues.empty() && !session.server.empty()) {
        throw CommandError(ExitCode::notFound, what,
                           "no queue of " + quotedAnsi(session.server) + " prints to the port",
                           "add one with \"queue add\", or run the command on that computer");
    }
    std::string name = queues.empty() ? port + ", Port" : queues.front();
    if (!session.server.empty()) name = session.server + "\\" + name;
    UniquePrinter printer;
    if (!OpenPrinterA(name.data(), printer.put(), nullptr))
        throw spoolerError(what, GetLastError());
    return {std::move(printer),
            queues.empty() ? DocumentHandover::To::port : DocumentHandover::To::queue};
}

/// One command from its file to the outcome of every copy.
class Printing {
  public:
    Printing(const Session& session, const PrintOptions& options)
        : session_(session), options_(options), what_("print " + quotedPath(options.file)) {}

    void run() {
        std::ifstream file(options_.file, std::ios::binary);
        if (!file) {
            throw CommandError(ExitCode::usage, what_, "the file cannot be read",
                               "check its name, and that you may read it");
        }
        MonitorChannel channel(session_);
        channel.readPrinting(
            options_.port, [&](const std::vector<PrintTarget>& printers, const JobTemplate& job) {
                targets_ = printers;
                if (!options_.noCheck)
                    checkBeforePrinting(session_, printers, job, options_.limit(), what_);
            });
        title_ = options_.title.empty() ? baseName(options_.file) : options_.title;
        auto [printer, to] = openPrinter(session_, options_.port, what_);
        record_ = recordFromNow(session_);
        const InterruptNote note(InterruptNote::Again::endsAtOnce);
        handOver(std::move(file), std::move(printer), to);
        session_.say(std::to_string(bytes_) + " bytes have been handed to port " +
                     quotedAnsi(options_.port) + ".");
        JobCopies copies(toUtf8(options_.port), job_, toUtf8(title_));
        if (record_) {
            awaitCopies(copies);
        } else if (to_ == DocumentHandover::To::queue) {
            awaitQueue();
        }
        for (const auto& [target, line] : copies.lines())
            tellCopy(line);
        if (record_ && options_.follow) follow(copies);
        finish(copies);
    }

  private:
    std::string interruptedText() const {
        return to_ == DocumentHandover::To::queue
                   ? "the job has been taken out of the queue, and nothing of it is printed"
                   : "the printers were not told an end: what they have is not a whole document";
    }

    /// Ends a job whose document is not complete; returns the message.
    std::string takeBack(DocumentHandover& handover) const {
        const auto done = std::make_shared<bool>(false);
        const auto shared = handover.taker();
        runBounded([done, shared] { *done = shared(); }, kLongestTakingBack);
        if (*done) return interruptedText();
        return to_ == DocumentHandover::To::queue
                   ? "the job could not be taken back; delete it in the window of the queue"
                   : "the printers had all of the document before, and may print it";
    }

    void handOver(std::ifstream file, UniquePrinter printer, DocumentHandover::To to) {
        to_ = to;
        ProgressBar bar(sizeOf(file), !session_.quiet && !session_.wantsJson());
        DocumentHandover handover(std::move(printer), to, title_, std::move(file), what_);
        std::uint64_t seen = 0;
        auto moved = std::chrono::steady_clock::now();
        // Without --wait for what follows, this is still bounded.
        const std::chrono::seconds longest(options_.wait == 0 ? 300 : options_.wait);
        for (;;) {
            const DocumentHandover::Progress progress = progressOf(handover);
            bar.show(progress.bytes);
            job_ = progress.job;
            bytes_ = progress.bytes;
            if (progress.ended) break;
            const auto now = std::chrono::steady_clock::now();
            const std::uint64_t state = progress.bytes + (progress.job != 0 ? 1 : 0);
            if (std::exchange(seen, state) != state) moved = now;
            if (InterruptNote::pressed()) {
                bar.end();
                throw cancelled(what_, takeBack(handover));
            }
            if (now - moved < longest) continue;
            bar.end();
            throw CommandError(
                ExitCode::printerProblem, what_,
                "nothing has moved for " + std::to_string(longest.count()) +
                    " seconds: a printer is busy, or a question about a password or a certificate "
                    "is open where nobody sees it; " +
                    takeBack(handover),
                "\"probe --port NAME\" tells what the printer wants; --wait gives it more time",
                "time-out");
        }
        bar.end();
        queue_ = handover.takePrinter();
    }

    DocumentHandover::Progress progressOf(DocumentHandover& handover) {
        try {
            return handover.wait(kPoll);
        } catch (const CommandError&) {
            if (!handover.begun() && to_ == DocumentHandover::To::port) tellFailedStart();
            throw;
        }
    }

    /// The only printer of the port cannot be reached; the record says why.
    void tellFailedStart() {
        if (!record_) return;
        JobCopies copies(toUtf8(options_.port), 0, toUtf8(title_));
        const auto begin = std::chrono::steady_clock::now();
        while (!copies.complete() && std::chrono::steady_clock::now() - begin < kFailedStartDelay) {
            Sleep(static_cast<DWORD>(kPoll.count()));
            record_->read([&copies](DeliveryLine&& line) { copies.add(line); });
        }
        for (const auto& [target, line] : copies.lines())
            tellCopy(line);
    }

    /// Whether the queue still has the job. The spooler forgets finished jobs.
    enum class Queued { no, yes, held };
    Queued queued() const {
        constexpr DWORD kEnded = JOB_STATUS_PRINTED | JOB_STATUS_DELETED | JOB_STATUS_COMPLETE;
        constexpr DWORD kBad = JOB_STATUS_ERROR | JOB_STATUS_OFFLINE | JOB_STATUS_BLOCKED_DEVQ;
        if (to_ == DocumentHandover::To::port) return Queued::no;
        DWORD needed = 0;
        GetJobA(queue_.get(), job_, 1, nullptr, 0, &needed);
        std::vector<BYTE> area(needed);
        if (needed == 0 || !GetJobA(queue_.get(), job_, 1, area.data(), needed, &needed))
            return Queued::no;
        const DWORD state = reinterpret_cast<const JOB_INFO_1A*>(area.data())->Status;
        if ((state & kEnded) != 0) return Queued::no;
        return (state & kBad) != 0 ? Queued::held : Queued::yes;
    }

    void checkInterrupt() const {
        if (InterruptNote::pressed()) {
            throw cancelled(what_,
                            "the waiting has been ended; the job was handed over whole before and "
                            "goes on");
        }
    }

    void awaitCopies(JobCopies& copies) {
        const auto begin = std::chrono::steady_clock::now();
        std::chrono::seconds longest(options_.wait);
        if (to_ == DocumentHandover::To::port && longest > kRecordDelay) longest = kRecordDelay;
        for (;;) {
            // Read before the record: the outcome of a job that has ended is in the record by then,
            // or a moment later.
            queueState_ = queued();
            record_->read([&copies](DeliveryLine&& line) { copies.add(line); });
            if (copies.complete() && (copies.allAccepted() || queueState_ != Queued::yes)) return;
            checkInterrupt();
            if (std::chrono::steady_clock::now() - begin >= longest) return;
            Sleep(static_cast<DWORD>(kPoll.count()));
        }
    }

    /// Without a record the queue is all that is known.
    void awaitQueue() const {
        const auto begin = std::chrono::steady_clock::now();
        if (options_.wait == 0) return;
        for (;;) {
            const Queued state = queued();
            if (state == Queued::no) return;
            if (state == Queued::held) {
                throw CommandError(ExitCode::printerProblem, what_,
                                   "the spooler holds the job back",
                                   "\"probe --port NAME\" tells what the printer says; the job "
                                   "stays in the queue");
            }
            checkInterrupt();
            if (std::chrono::steady_clock::now() - begin >= std::chrono::seconds(options_.wait)) {
                throw CommandError(ExitCode::printerProblem, what_,
                                   "the job is still in the spooler's queue",
                                   "it goes on there; --wait gives it more time");
            }
            Sleep(static_cast<DWORD>(kPoll.count()));
        }
    }

    void tellCopy(const DeliveryLine& line) const {
        session_.say("  " +
                     (line.printer.empty() ? std::string("no printer") : inQuotes(line.printer)) +
                     "  " + shown(line.outcome, 80) +
                     (line.reason.empty() ? "" : ": " + shown(line.reason, 200)));
    }

    /// The printer of a copy, with what it needs to be asked.
    const PrintTarget* targetOfCopy(const DeliveryLine& line) const {
        if (line.target == 0 || line.target > targets_.size()) return nullptr;
        const PrintTarget& target = targets_[line.target - 1];
        return withoutUserInfo(toUtf8(target.url)) == line.printer ? &target : nullptr;
    }

    void follow(const JobCopies& copies) {
        const ConnectionOptions connection = connectionOptions(machinePolicy());
        for (const auto& [number, line] : copies.lines()) {
            const PrintTarget* const target = targetOfCopy(line);
            if (!line.accepted() || target == nullptr) continue;
            followed_.emplace(number, PrinterJob(*target, options_.limit(), connection));
        }
        for (const auto& [number, line] : copies.lines()) {
            const auto job = followed_.find(number);
            if (job != followed_.end()) followOne(job->second, line);
        }
    }

    void followOne(PrinterJob& job, const DeliveryLine& line) const {
        const std::string url = quotedUrl(job.target().url);
        std::optional<PrinterProblem> problem = job.find(line.document, line.user);
        if (!problem && !job.found()) {
            session_.warn(url +
                          " lists no job of this name and user: how it goes on there cannot "
                          "be known");
            return;
        }
        std::string told;
        auto answered = std::chrono::steady_clock::now();
        for (;; Sleep(static_cast<DWORD>(std::chrono::milliseconds(kFollowPoll).count()))) {
            if (!problem) {
                answered = std::chrono::steady_clock::now();
                if (std::exchange(told, job.state()) != job.state()) tellState(job);
                if (job.ended()) return;
            }
            checkInterrupt();
            if (std::chrono::steady_clock::now() - answered >=
                std::chrono::seconds(std::max(options_.wait, 1U))) {
                session_.warn(url + ": " + problem->words + "; the job has not ended there");
                return;
            }
            problem = job.found() ? job.ask() : job.find(line.document, line.user);
            if (!problem && !job.found()) return;
        }
    }

    void tellState(const PrinterJob& job) const {
        std::vector<std::string> reasons = job.reasons();
        std::erase(reasons, "none");
        session_.say("  " + quotedUrl(job.target().url) + "  job " +
                     std::to_string(job.id().value_or(0)) + ": " + shown(job.state(), 80) +
                     (reasons.empty() ? "" : " (" + shownValues(reasons) + ")"));
    }

    Json copyJson(const DeliveryLine& line) const {
        Json json{{"printer", line.printer},
                  {"target", line.target},
                  {"outcome", line.outcome},
                  {"reason", line.reason},
                  {"job", nullptr}};
        const auto job = followed_.find(line.target);
        if (job != followed_.end() && job->second.found()) {
            json["job"] = {{"id", *job->second.id()},
                           {"state", job->second.state()},
                           {"reasons", job->second.reasons()}};
        }
        return json;
    }

    /// Copies that the record does not know yet, as far as they can be named.
    std::vector<std::uint32_t> missing(const JobCopies& copies) const {
        std::vector<std::uint32_t> numbers;
        if (!record_ || copies.complete()) return numbers;
        const std::size_t count =
            copies.lines().empty() ? targets_.size() : copies.lines().rbegin()->second.targets;
        for (std::uint32_t number = 1; number <= count; ++number)
            if (!copies.lines().contains(number)) numbers.push_back(number);
        return numbers;
    }

    void finish(const JobCopies& copies) const {
        const std::vector<std::uint32_t> underWay = missing(copies);
        const auto urlOf = [&](std::uint32_t number) {
            return number <= targets_.size() ? withoutUserInfo(toUtf8(targets_[number - 1].url))
                                             : std::string();
        };
        for (const std::uint32_t number : underWay)
            session_.say("  " + inQuotes(urlOf(number)) + "  still under way");
        if (session_.wantsJson()) {
            Json list = Json::array();
            for (const auto& [target, line] : copies.lines())
                list.push_back(copyJson(line));
            for (const std::uint32_t number : underWay) {
                list.push_back({{"printer", urlOf(number)},
                                {"target", number},
                                {"outcome", "under-way"},
                                {"reason", ""},
                                {"job", nullptr}});
            }
            session_.answer({{"port", toUtf8(options_.port)},
                             {"title", toUtf8(title_)},
                             {"bytes", bytes_},
                             {"recorded", record_ != nullptr},
                             {"copies", list}});
        }
        if (!record_) return;
        throwUnlessAccepted(copies, underWay.size());
        throwUnlessCompleted();
    }

    void throwUnlessAccepted(const JobCopies& copies, std::size_t underWay) const {
        if (copies.allAccepted()) return;
        const std::size_t all = std::max<std::size_t>(copies.lines().size() + underWay, 1);
        const auto accepted = std::ranges::count_if(
            copies.lines(), [](const auto& one) { return one.second.accepted(); });
        throw CommandError(
            ExitCode::printerProblem, what_,
            std::to_string(accepted) + " of " + std::to_string(all) +
                (all == 1 ? " copy has" : " copies have") + " been accepted" +
                (queueState_ == Queued::no ? std::string()
                                           : std::string(", and the job is still in the queue")),
            "\"deliveries --failed\" tells why; \"probe --port NAME\" what the "
            "printers say now");
    }

    void throwUnlessCompleted() const {
        for (const auto& [number, job] : followed_) {
            if (!job.found() || job.completed() || job.forgotten()) continue;
            throw CommandError(ExitCode::printerProblem, what_,
                               quotedUrl(job.target().url) + " accepted the job, which is " +
                                   shown(job.state(), 80) + " there",
                               "\"jobs URL\" and \"jobs URL --completed\" show it");
        }
    }

    const Session& session_;
    const PrintOptions& options_;
    const std::string what_;
    std::vector<PrintTarget> targets_;
    std::string title_;
    std::unique_ptr<DeliveryFiles> record_;
    DocumentHandover::To to_ = DocumentHandover::To::port;
    UniquePrinter queue_;
    Queued queueState_ = Queued::no;
    std::uint32_t job_ = 0;
    std::uint64_t bytes_ = 0;
    std::map<std::uint32_t, PrinterJob> followed_;
};

void print(const Session& session, const PrintOptions& options) {
    Printing(session, options).run();
}

}  // namespace

void addPrintVerb(Verb app, Session& session) {
    const auto options = std::make_shared<PrintOptions>();
    Verb verb = addVerb(app, session, "print", "print a file in the printer's own format",
                        "print manual.pdf --port Office",
                        [&session, options] { print(session, *options); });
    verb.text("file", options->file, "the file; it is sent as it is", "FILE").required();
    verb.text("--port", options->port, "the port", "NAME").required();
    verb.text("--title", options->title, "the job's name (default: the file's)", "TEXT");
    verb.flag("--no-check", options->noCheck,
              "do not ask the printers first whether they would take the job");
    verb.flag("--follow", options->follow,
              "ask the printers that accepted the job until it has ended there");
    verb.seconds("--timeout", options->timeout, 1, 600,
                 "longest wait for each answer of a printer, in seconds");
    verb.seconds("--wait", options->wait, 0, 86400,
                 "longest time in which nothing moves, and longest wait for what becomes of the "
                 "copies, in seconds; 0: no wait for that");
}

}  // namespace velmora::ctl
