#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/bare_client.h"
#include "bench/process_cost.h"
#include "bench/prompt_job.h"
#include "bench/report.h"
#include "harness/peer.h"

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
    }

  private:
    void bare(const std::string& document, std::size_t piece = kPiece) {
        if (!printBare(port_, document, {piece, true})) stop("a bare loop fails");
    }

    void oneLargeDocument() {
        constexpr double kSize = 64;
        const std::string document(static_cast<std::size_t>(kSize) * kMebibyte, 'x');
        const auto ours = [&] { printPromptly(sink_.url(), 1, document, kMebibyte); };
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
                    3, [&] { printPromptly(printer.url(), 1, document, kPiece); },
                    [&] { printPromptly(printer.url(), 1, document, piece); });
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
                9, [&] { printPromptly(sink_.url(), printers, page, 4096); },
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
                [&] { printPromptly(sink_.url(), printers, document, kMebibyte); },
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
                3, [&] { printPromptly(sink_.url(), 1, document, size); },
                [&] { printPromptly(sink_.url(), 1, document, size, Pace::steady); });
            // Two pauses of a second, whatever the calls take.
            report_.add({"WritePort calls of " + std::to_string(size) + " B, beside no policy",
                         "ms", prompt.wall * 1000, (steady.wall - 2) * 1000, 1});
        }
    }

    void manyPorts() {
        const std::string document(kMebibyte, 'x');
        const auto [mine, theirs] = compare(
            3, [&] { atOnce(200, [&] { printPromptly(sink_.url(), 1, document, kPiece); }); },
            [&] { atOnce(200, [&] { bare(document); }); });
        report_.add({"200 ports at once, 1 MiB each: time", "s", mine.wall, theirs.wall});
        report_.add({"200 ports at once, 1 MiB each: CPU", "s", mine.cpu, theirs.cpu});
        report_.add({"200 ports at once, 1 MiB each: peak memory", "KiB", mine.peakBytes / 1024,
                     theirs.peakBytes / 1024});
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
