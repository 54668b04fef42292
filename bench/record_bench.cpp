#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "bench/process_cost.h"
#include "bench/prompt_job.h"
#include "bench/report.h"
#include "harness/peer.h"
#include "monitor/delivery_output.h"
#include "monitor/jobs/job_record.h"
#include "port/delivery_directory.h"

// What the record of deliveries costs a job. All printers are one server that throws the document
// away.
//
// A job takes some milliseconds of processor time, and what it takes differs by several hundredths
// from turn to turn, so a hundredth cannot be seen in it. What the record adds is therefore also
// measured by itself: the same calls to a printer that does nothing, with and without the record.

namespace velmora::bench {
namespace {

constexpr std::size_t kPiece = 64 * 1024;

struct Kind {
    const char* name;
    std::size_t printers;
    std::size_t size;
    int jobs;  ///< in one turn, which takes about a second: lines gather for as long
};

constexpr Kind kKinds[] = {
    {"100 KiB to 1", 1, 100 << 10, 400},
    {"1 MiB to 1", 1, 1 << 20, 200},
    {"1 MiB to 16", 16, 1 << 20, 16},
};

Policy recorded() {
    Policy policy;
    policy.deliveryRecord = 20;
    policy.eventLog = 1;
    return policy;
}

/// Takes everything and reports success, so that only the record costs time.
class NoPrinter final : public Delivery {
  public:
    bool failed() const override { return false; }
    bool write(std::span<const std::byte>) override { return true; }
    bool writeChunk(std::span<const std::byte>) override { return true; }
    bool end() override { return true; }
    bool accepted() override { return true; }
    void leaveOpen() noexcept override {}
    DeliveryReason reason() const override { return {{}, 0, 0, 0}; }
};

std::unique_ptr<Delivery> connectToNone(const DeliveryOrder& order) {
    if (order.report != nullptr) order.report->userName = "user";
    return std::make_unique<NoPrinter>();
}

/// The calls of such a job, all from this thread.
void deliverToNone(const Kind& kind, const std::string& url, const std::string& document,
                   const Policy& policy) {
    PrintTarget target;
    target.url = url;
    const auto record =
        newJobRecord(policy, "Port", 1, L"Document", std::vector(kind.printers, target));
    const Connect connect = record != nullptr ? record->watch(connectToNone) : connectToNone;
    for (std::size_t position = 1; position <= kind.printers; ++position) {
        const auto delivery = connect(DeliveryOrder{target, "Document", position});
        auto left = std::as_bytes(std::span(document));
        while (!left.empty()) {
            const auto piece = left.first(std::min(kPiece, left.size()));
            delivery->write(piece);
            left = left.subspan(piece.size());
        }
        delivery->end();
        delivery->accepted();
    }
    if (record != nullptr) record->finish();
}

double median(std::vector<double> all) {
    std::ranges::sort(all);
    return all[all.size() / 2];
}

class Bench {
  public:
    explicit Bench(Report& report) : report_(report) {}

    void run() {
        for (const Kind& kind : kKinds)
            cost(kind);
        unwritableDirectory();
    }

  private:
    ProcessCost turn(const Kind& kind, const std::string& document, const Policy& policy) {
        return costOf([&] {
            for (int job = 0; job < kind.jobs; ++job)
                printPromptly(sink_.url(), kind.printers, document, kPiece, Pace::prompt, policy);
            if (policy.deliveryRecord != 0) flushDeliveryLog();
        });
    }

    void cost(const Kind& kind) {
        constexpr int kTurns = 5;
        const std::string document(kind.size, 'x');
        turn(kind, document, recorded());  // what happens once in a process's life
        std::vector<double> with, without, noise, wallWith, wallWithout;
        for (int i = 0; i < kTurns; ++i) {
            const ProcessCost before = turn(kind, document, {});
            const ProcessCost on = turn(kind, document, recorded());
            const ProcessCost after = turn(kind, document, {});
            const double perJob = 1000.0 / kind.jobs;
            with.push_back(on.cpu * perJob);
            without.push_back((before.cpu + after.cpu) / 2 * perJob);
            noise.push_back(std::abs(before.cpu - after.cpu) / 2 * perJob);
            wallWith.push_back(on.wall * perJob);
            wallWithout.push_back((before.wall + after.wall) / 2 * perJob);
        }
        const std::string what = std::string("record on beside off, ") + kind.name + ": ";
        const double job = median(without);
        const double added = recordAlone(kind, document);
        report_.add({what + "CPU, record by itself", "ms", job + added, job, 1.01});
        report_.add({what + "CPU", "ms", median(with), job});
        report_.add({what + "CPU, off beside off", "ms", job + median(noise), job});
        report_.add({what + "time", "ms", median(wallWith), median(wallWithout)});
    }

    /// Milliseconds that the record adds to a job; lines are written as often as in a turn above.
    static double recordAlone(const Kind& kind, const std::string& document) {
        constexpr int kLines = 40000;
        const int printers = static_cast<int>(kind.printers);
        const int turns = kLines / kind.jobs / printers;
        double cpu[2] = {};
        for (const bool on : {false, true}) {
            const Policy policy = on ? recorded() : Policy();
            const double before = cpuSeconds();
            for (int i = 0; i < turns; ++i) {
                for (int job = 0; job < kind.jobs; ++job)
                    deliverToNone(kind, "ipp://localhost:631/ipp/print", document, policy);
                if (on) flushDeliveryLog();
            }
            cpu[on] = cpuSeconds() - before;
        }
        return (cpu[1] - cpu[0]) * 1000 / (turns * kind.jobs);
    }

    void unwritableDirectory() {
        namespace fs = std::filesystem;
        constexpr int kTurns = 3;
        fs::remove_all(deliveryDirectory());
        // A file is where the directory should be.
        std::ofstream(deliveryDirectory()) << "file";
        const Kind kind{"", 16, 10 << 10, 200 / kTurns};
        const std::string page(kind.size, 'x');
        std::vector<double> with, without;
        for (int i = 0; i < kTurns; ++i) {
            with.push_back(turn(kind, page, recorded()).wall * kTurns);
            without.push_back(turn(kind, page, {}).wall * kTurns);
        }
        report_.add({"200 jobs to 16, record that cannot be written: time beside none", "s",
                     median(with), median(without), 1.05});
        fs::remove(deliveryDirectory());
    }

    Report& report_;
    testing::Peer sink_{"http_sink --discard"};
};

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
    velmora::bench::Report report(argc, argv);
    velmora::bench::Bench(report).run();
}
