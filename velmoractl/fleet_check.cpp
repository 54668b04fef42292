#include "velmoractl/fleet_check.h"

#include <windows.h>
// After windows.h.
#include <wininet.h>

#include <algorithm>
#include <condition_variable>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "velmoractl/internet.h"
#include "velmoractl/job_check.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/text/fleet_list.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/unattended.h"

namespace velmora::ctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kAtOnce = 64;

/// WinInet allows a program two connections to a host, and others wait: with many queues on one
/// server they would time out.
void allowConnections() {
    DWORD most = kAtOnce;
    for (const DWORD option :
         {INTERNET_OPTION_MAX_CONNS_PER_SERVER, INTERNET_OPTION_MAX_CONNS_PER_1_0_SERVER})
        InternetSetOptionA(nullptr, option, &most, sizeof most);
}

/// The queries to one printer, with one time limit for all of them.
class Questions {
  public:
    Questions(const FleetPrinter& printer, std::chrono::seconds limit)
        : printer_(printer), end_(Clock::now() + limit), result_(unasked(printer)) {}

    FleetResult run() {
        const UrlReading url = readUrl(printer_.target.url);
        if (!url.usable) {
            result_.problem = PrinterProblem{"bad-url", url.problem,
                                             "give one such as ipp://printer.example/ipp/print"};
            return std::move(result_);
        }
        const PrinterAnswer answer = client().askAttributes();
        result_.problem = problemOf(answer);
        if (result_.problem) return std::move(result_);
        takeAttributes(*answer.message, result_);
        for (const TemplateUse& use : printer_.uses)
            result_.checks.push_back({use.ports, checkJob(client(), *use.job, *answer.message)});
        return std::move(result_);
    }

  private:
    /// For one query, with the time that is left.
    PrinterClient client() const {
        using std::chrono::seconds;
        const auto left = std::chrono::floor<seconds>(end_ - Clock::now());
        const auto atLeastOne = [](seconds time) {
            return static_cast<std::uint32_t>(std::max(time, seconds(1)).count());
        };
        ConnectionOptions options;
        options.connectTimeout = atLeastOne(left);
        options.sendTimeout = atLeastOne(left);
        // The transport pauses before the body.
        options.receiveTimeout = atLeastOne(left - seconds(1));
        return {printer_.target, PrinterClient::kNoLimit, options};
    }

    const FleetPrinter& printer_;
    const Clock::time_point end_;
    FleetResult result_;
};

FleetResult withoutAnswer(const FleetPrinter& printer, PrinterProblem problem) {
    FleetResult result = unasked(printer);
    result.problem = std::move(problem);
    return result;
}

FleetResult ask(const FleetPrinter& printer, std::chrono::seconds limit) {
    try {
        return Questions(printer, limit).run();
    } catch (const std::exception& error) {
        return withoutAnswer(
            printer,
            {"internal-error", "it could not be asked: " + shown(error.what()), "try again"});
    }
}

/// Asks the printers, each in a thread of its own: one that waits, for a name for example, cannot
/// be ended from outside. It is left running when its time is over.
class Asking {
  public:
    Asking(const std::vector<FleetPrinter>& printers, std::chrono::seconds limit)
        : printers_(printers), limit_(limit) {}

    void run(const std::function<void(std::size_t, FleetResult&&)>& take) {
        std::size_t next = 0;
        while (next < printers_.size() || !running_.empty()) {
            while (next < printers_.size() && running_.size() + late_.size() < kAtOnce)
                start(next++);
            wait();
            collect(take);
        }
    }

  private:
    using Answers = std::list<std::pair<std::size_t, FleetResult>>;
    struct Desk {
        std::mutex mutex;
        std::condition_variable changed;
        Answers answers;
    };

    void start(std::size_t one) {
        // Its place is made here: nothing may be thrown in the thread.
        const auto place = std::make_shared<Answers>(1);
        place->front().first = one;
        startUnattended([desk = desk_, place, printer = printers_[one], limit = limit_] {
            place->front().second = ask(printer, limit);
            const std::scoped_lock lock(desk->mutex);
            desk->answers.splice(desk->answers.end(), *place);
            desk->changed.notify_all();
        });
        running_[one] = Clock::now() + limit_;
    }

    void wait() {
        Clock::time_point end = Clock::time_point::max();
        for (const auto& places : {running_, late_}) {
            for (const auto& [one, limit] : places)
                end = std::min(end, limit);
        }
        std::unique_lock lock(desk_->mutex);
        desk_->changed.wait_until(lock, end, [&] { return !desk_->answers.empty(); });
    }

    void collect(const std::function<void(std::size_t, FleetResult&&)>& take) {
        Answers answers;
        {
            const std::scoped_lock lock(desk_->mutex);
            answers.swap(desk_->answers);
        }
        for (auto& [one, result] : answers) {
            late_.erase(one);
            if (running_.erase(one) != 0) take(one, std::move(result));
        }
        const auto now = Clock::now();
        std::erase_if(late_, [&](const auto& place) { return place.second <= now; });
        for (auto place = running_.begin(); place != running_.end();) {
            if (place->second > now) {
                ++place;
                continue;
            }
            // Its connection's time-outs end it soon. Until then it still counts, so that the
            // program's resources stay bounded.
            const std::size_t one = place->first;
            late_[one] = now + kGrace;
            place = running_.erase(place);
            take(one, withoutAnswer(printers_[one], timeOut()));
        }
    }

    static PrinterProblem timeOut() {
        PrinterAnswer late;
        late.timedOut = true;
        return *problemOf(late);
    }

    static constexpr std::chrono::seconds kGrace{2};
    using Places = std::map<std::size_t, Clock::time_point>;

    const std::vector<FleetPrinter>& printers_;
    const std::chrono::seconds limit_;
    const std::shared_ptr<Desk> desk_ = std::make_shared<Desk>();
    Places running_;  ///< until when each may take
    Places late_;     ///< those whose time is over, and until when they count
};

/// A printer that may have a certificate: its URL is encrypted, and something answers there.
bool mayHaveCertificate(const FleetResult& result) {
    if (!readUrl(result.url).secure) return false;
    if (!result.problem) return true;
    constexpr const char* kNobody[] = {"bad-url",           "host-unknown", "no-connection",
                                       "connection-closed", "time-out",     "internal-error"};
    return std::ranges::find(kNobody, result.problem->keyword) == std::end(kNobody);
}

}  // namespace

FleetResult unasked(const FleetPrinter& printer) {
    FleetResult result;
    result.url = printer.target.url;
    result.ports = printer.ports();
    return result;
}

std::vector<FleetResult> checkFleet(const std::vector<FleetPrinter>& printers,
                                    std::chrono::seconds limit,
                                    const std::function<void(const FleetResult&)>& tell) {
    allowConnections();
    std::vector<FleetResult> results(printers.size());
    std::mutex mutex;
    const auto tellOne = [&](std::size_t i) {
        const std::scoped_lock lock(mutex);
        tell(results[i]);
    };
    Asking(printers, limit).run([&](std::size_t i, FleetResult&& result) {
        results[i] = std::move(result);
        if (!mayHaveCertificate(results[i])) tellOne(i);
    });
    std::vector<UrlReading> urls(results.size());
    for (std::size_t i = 0; i < results.size(); ++i) {
        if (mayHaveCertificate(results[i])) urls[i] = readUrl(results[i].url);
    }
    inspectCertificates(urls, limit, [&](std::size_t i, const CertificateReport& certificate) {
        results[i].certificate = certificate;
        tellOne(i);
    });
    return results;
}

}  // namespace velmora::ctl
