#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "bench/bare_client.h"
#include "bench/process_cost.h"
#include "bench/report.h"
#include "harness/peer.h"
#include "ipp/job_template.h"
#include "monitor/delivery_output.h"
#include "monitor/jobs/ipp_delivery.h"
#include "monitor/jobs/port_job.h"
#include "port/delivery_directory.h"

// Jobs with prompt delivery, from the spooler's first call to its last, beside bare loops of the
// platform's calls with the same pieces. All printers are one server that throws the document away.

namespace velmora::bench {
namespace {

constexpr std::size_t kPiece = 64 * 1024;
constexpr std::size_t kMebibyte = 1 << 20;

[[noreturn]] void stop(const char* what) {
    std::fprintf(stderr, "prompt_bench: %s\n", what);
    std::exit(1);
}

/// One job as the spooler prints it, recorded as the policy says.
void printOurs(const std::string& url, std::size_t printers, const std::string& document,
               std::size_t callSize, Pace pace = Pace::prompt, const Policy& policy = {}) {
    ConnectionOptions options;
    options.promptDelivery = pace == Pace::prompt;
    PrintTarget target;
    target.url = url;
    const std::vector targets(printers, target);
    PortJob job({1, "Document", nullptr}, [](const JobInfo&) {});
    job.recordIn(newJobRecord(policy, "Port", 1, L"Document", targets));
    const Connect connect = [&options](const DeliveryOrder& order) {
        auto delivery = connectToPrinter(order, JobTemplate(), options);
        if (delivery == nullptr || delivery->failed()) stop("a printer is not reached");
        return delivery;
    };
    if (!job.start(connect, targets, AfterJob::close, pace)) stop("the job does not start");
    auto left = std::as_bytes(std::span(document));
    while (!left.empty()) {
        const auto call = left.first(std::min(callSize, left.size()));
        std::uint32_t accepted = 0;
        if (!job.write(call, accepted)) stop("the job fails");
        left = left.subspan(call.size());
    }
}

using Cost = ProcessCost;

/// Medians of what both cost, in turns.
std::pair<Cost, Cost> compare(int turns, const std::function<void()>& ours,
                              const std::function<void()>& bare) {
    ours();  // what happens once in a process's life
    bare();
    std::vector<Cost> costs[2];
    for (int i = 0; i < turns; ++i) {
        costs[0].push_back(costOf(ours));
        costs[1].push_back(costOf(bare));
    }
    const auto median = [](std::vector<Cost>& all, double Cost::*field) {
        const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
        std::ranges::nth_element(all, middle, {}, field);
        return *middle.*field;
    };
    const auto medians = [&](std::vector<Cost>& all) {
        return Cost{median(all, &Cost::wall), median(all, &Cost::cpu),
                    median(all, &Cost::peakBytes)};
    };
    return {medians(costs[0]), medians(costs[1])};
}

void atOnce(std::size_t count, const std::function<void()>& body) {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < count; ++i)
        threads.emplace_back(body);
}

class Bench {
  public:
    explicit Bench(Report& report) : report_(report) {}

    void run() {
        oneLargeDocument();
        sizesOfPieces();
        pages();
        manyPrinters();
        writeCalls();
        manyPorts();
        record();
    }

  private:
    void bare(const std::string& document, std::size_t piece = kPiece) {
        if (!printBare(port_, document, {piece, true})) stop("a bare loop fails");
    }

    void oneLargeDocument() {
        constexpr double kSize = 64;
        const std::string document(static_cast<std::size_t>(kSize) * kMebibyte, 'x');
        const auto ours = [&] { printOurs(sink_.url(), 1, document, kMebibyte); };
        for (const std::size_t piece : {kPiece, kPiece / 2, kPiece / 4}) {
            const auto [mine, theirs] = compare(5, ours, [&] { bare(document, piece); });
            report_.add({"64 MiB, throughput beside a bare loop of " +
                             std::to_string(piece / 1024) + " KiB",
                         "MB/s", kSize * 1.048576 / mine.wall, kSize * 1.048576 / theirs.wall,
                         piece == kPiece ? 0.9 : 0, true});
        }
        const std::string shown = sink_.run("python3 {here}/../../bench/cups_backend.py {url} 64");
        double wall = 0;
        double cpu = 0;
        if (std::sscanf(shown.c_str(), "%lf %lf", &wall, &cpu) != 2)
            stop("CUPS's backend does not run");
        const double mine = seconds(ours);
        report_.add({"64 MiB, throughput beside CUPS's ipp backend", "MB/s",
                     kSize * 1.048576 / mine, kSize * 1.048576 / wall, 0, true});
    }

    /// What decided for pieces of 64 KiB: they cost nothing with printers that do something with
    /// the document.
    void sizesOfPieces() {
        constexpr double kSize = 16;
        const std::string document(static_cast<std::size_t>(kSize) * kMebibyte, 'x');
        for (const char* const program : {"ippeve_printer", "cups_server"}) {
            testing::Peer printer(program);
            for (const std::size_t piece : {kPiece / 2, kPiece / 4}) {
                const auto [large, small] = compare(
                    3, [&] { printOurs(printer.url(), 1, document, kPiece); },
                    [&] { printOurs(printer.url(), 1, document, piece); });
                report_.add({std::string("16 MiB to ") + program + ", beside pieces of " +
                                 std::to_string(piece / 1024) + " KiB",
                             "MB/s", kSize * 1.048576 / large.wall, kSize * 1.048576 / small.wall,
                             0, true});
            }
        }
    }

    void pages() {
        const std::string page(100 * 1024, 'x');
        for (const std::size_t printers : {1u, 16u}) {
            const auto [mine, theirs] = compare(
                9, [&] { printOurs(sink_.url(), printers, page, 4096); },
                [&] { atOnce(printers, [&] { bare(page); }); });
            report_.add({"100 KiB to " + std::to_string(printers) +
                             ": time over the bare loops, beside 50 ms",
                         "ms", std::max(0.0, (mine.wall - theirs.wall) * 1000), 50, 1});
            report_.add({"100 KiB to " + std::to_string(printers) + ": time", "ms",
                         mine.wall * 1000, theirs.wall * 1000});
        }
    }

    void manyPrinters() {
        const std::string document(16 * kMebibyte, 'x');
        for (const std::size_t printers : {16u, 64u}) {
            const auto [mine, theirs] = compare(
                printers == 16 ? 5 : 1,
                [&] { printOurs(sink_.url(), printers, document, kMebibyte); },
                [&] { atOnce(printers, [&] { bare(document); }); });
            const std::string what = "16 MiB to " + std::to_string(printers) + ": ";
            report_.add({what + "CPU", "s", mine.cpu, theirs.cpu, printers == 16 ? 1.05 : 0});
            report_.add({what + "time", "s", mine.wall, theirs.wall});
            report_.add({what + "peak memory beside the document", "KiB", mine.peakBytes / 1024,
                         static_cast<double>(document.size()) / 1024});
        }
    }

    /// A spooler that writes small pieces is not slower than without the policy.
    void writeCalls() {
        for (const std::size_t size :
             {std::size_t{1}, std::size_t{512}, std::size_t{4096}, kMebibyte}) {
            const std::string document(size == 1 ? 2000 : std::max(size, kMebibyte / 4), 'x');
            const auto [prompt, steady] = compare(
                3, [&] { printOurs(sink_.url(), 1, document, size); },
                [&] { printOurs(sink_.url(), 1, document, size, Pace::steady); });
            // Two pauses of a second that have nothing to do with the calls.
            report_.add({"WritePort calls of " + std::to_string(size) + " B, beside no policy",
                         "ms", prompt.wall * 1000, (steady.wall - 2) * 1000, 1});
        }
    }

    void manyPorts() {
        const std::string document(kMebibyte, 'x');
        const auto [mine, theirs] = compare(
            3, [&] { atOnce(200, [&] { printOurs(sink_.url(), 1, document, kPiece); }); },
            [&] { atOnce(200, [&] { bare(document); }); });
        report_.add({"200 ports at once, 1 MiB each: time", "s", mine.wall, theirs.wall});
        report_.add({"200 ports at once, 1 MiB each: CPU", "s", mine.cpu, theirs.cpu});
        report_.add({"200 ports at once, 1 MiB each: peak memory", "KiB", mine.peakBytes / 1024,
                     theirs.peakBytes / 1024});
    }

    /// A job that is recorded beside one that is not. Processor time is counted in steps of 10 ms,
    /// so it is summed over many jobs; and lines gather for a second, so a turn takes longer.
    void record() {
        Policy recorded;
        recorded.deliveryRecord = 20;
        recorded.eventLog = 1;
        struct Kind {
            const char* name;
            std::size_t printers;
            std::size_t size;
            int jobs;
        };
        for (const Kind& kind :
             {Kind{"100 KiB to 1", 1, 100 << 10, 400}, Kind{"1 MiB to 1", 1, kMebibyte, 200},
              Kind{"1 MiB to 16", 16, kMebibyte, 40}}) {
            const std::string document(kind.size, 'x');
            const auto [with, without] = sumsOf(kind.jobs, kind.printers, document, recorded);
            const std::string what = std::string("record on beside off, ") + kind.name;
            report_.add({what + ": CPU", "s", with.cpu, without.cpu, 1.01});
            report_.add({what + ": time", "s", with.wall, without.wall});
        }
        unwritableDirectory(recorded);
    }

    /// Jobs in turns of both kinds; what all of a kind cost.
    std::pair<Cost, Cost> sumsOf(int jobs, std::size_t printers, const std::string& document,
                                 const Policy& recorded) {
        constexpr int kTurns = 8;
        Cost sums[2];
        for (int turn = 0; turn < kTurns; ++turn) {
            for (const bool on : {turn % 2 == 0, turn % 2 != 0}) {
                const Cost cost = costOf([&] {
                    for (int job = 0; job < jobs; ++job) {
                        printOurs(sink_.url(), printers, document, kPiece, Pace::prompt,
                                  on ? recorded : Policy());
                    }
                    flushDeliveryLog();
                });
                if (turn < 2) continue;  // what happens once in a process's life
                sums[on ? 0 : 1].wall += cost.wall;
                sums[on ? 0 : 1].cpu += cost.cpu;
            }
        }
        return {sums[0], sums[1]};
    }

    void unwritableDirectory(const Policy& recorded) {
        namespace fs = std::filesystem;
        fs::remove_all(deliveryDirectory());
        // A file is where the directory should be.
        std::ofstream(deliveryDirectory()) << "file";
        const std::string page(10 * 1024, 'x');
        const auto [with, without] = sumsOf(20, 16, page, recorded);
        report_.add({"200 jobs to 16, record that cannot be written: time beside none", "s",
                     with.wall, without.wall, 1.05});
        fs::remove(deliveryDirectory());
    }

    Report& report_;
    testing::Peer sink_{"http_sink --discard"};
    const int port_ = std::atoi(sink_.url().c_str() + sink_.url().rfind(':') + 1);
};

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
    velmora::bench::Report report(argc, argv);
    velmora::bench::Bench(report).run();
}
