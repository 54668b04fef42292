#include <windows.h>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "bench/bare_client.h"
#include "bench/process_cost.h"
#include "bench/prompt_job.h"
#include "bench/report.h"
#include "harness/peer.h"
#include "monitor/jobs/multi_target_job.h"

// One document to many printers at once, beside as many bare loops of the platform's calls, each in
// a thread of its own. All printers are one server that throws the document away.

namespace velmora::bench {
namespace {

constexpr std::size_t kPiece = 1024;
constexpr std::size_t kPromptPiece = 64 * 1024;

[[noreturn]] void stop(const char* what) {
    std::fprintf(stderr, "fan_out_bench: %s\n", what);
    std::exit(1);
}

/// The packets' memory as the heap counts it: with a header of two pointers, in steps of that size.
/// Packets are made and freed by the writer alone.
class MeasuredMemory {
  public:
    PacketMemory memory() {
        return {[](void* owner, std::size_t size) noexcept {
                    return static_cast<MeasuredMemory*>(owner)->allocate(size);
                },
                [](void* owner, void* block) noexcept {
                    static_cast<MeasuredMemory*>(owner)->release(block);
                },
                this};
    }

    double peakBytes() const { return static_cast<double>(peakBytes_); }

  private:
    void* allocate(std::size_t size) noexcept {
        void* const block = PacketMemory::allocateFromHeap(nullptr, size);
        bytes_ += charged(block);
        peakBytes_ = std::max(peakBytes_, bytes_);
        return block;
    }
    void release(void* block) noexcept {
        bytes_ -= charged(block);
        PacketMemory::releaseToHeap(nullptr, block);
    }
    static std::size_t charged(void* block) {
        constexpr std::size_t kStep = 2 * sizeof(void*);
        return (_msize(block) + kStep + kStep - 1) / kStep * kStep;
    }

    std::size_t bytes_ = 0;
    std::size_t peakBytes_ = 0;
};

/// Processor time is the mean of all turns, since the platform counts it in steps of 10 ms; wall
/// time the least.
struct Cost {
    double wall = 1e9;
    double cpuOfAll = 0;
    int turns = 0;
    double queueBytes = 0;
    double peakBytes = 0;

    double cpu() const { return cpuOfAll / turns; }

    static Cost of(const ProcessCost& turn) {
        return {.wall = turn.wall, .cpuOfAll = turn.cpu, .turns = 1, .peakBytes = turn.peakBytes};
    }
    void add(const Cost& other) {
        wall = std::min(wall, other.wall);
        cpuOfAll += other.cpuOfAll;
        turns += other.turns;
        queueBytes = std::max(queueBytes, other.queueBytes);
        peakBytes = std::max(peakBytes, other.peakBytes);
    }
};

Cost printOurs(const std::string& url, int printers, const std::string& document,
               Pace pace = Pace::steady) {
    const bool prompt = pace == Pace::prompt;
    const std::size_t piece = prompt ? kPromptPiece : kPiece;
    ConnectionOptions options;
    options.promptDelivery = prompt;
    const Connect connect = [&options](const DeliveryOrder& order) {
        return connectOrStop(order, options);
    };
    MeasuredMemory packets;
    PrintTarget target;
    target.url = url;
    const std::vector<PrintTarget> targets(static_cast<std::size_t>(printers), target);
    Cost cost = Cost::of(costOf([&] {
        MultiTargetJob job(connect, targets, "Document", packets.memory(), pace);
        const auto bytes = std::as_bytes(std::span(document));
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            job.write(bytes.subspan(at, std::min(piece, bytes.size() - at)));
        job.end();
    }));
    cost.queueBytes = packets.peakBytes();
    return cost;
}

Cost printBareLoops(int port, int printers, const std::string& document) {
    return Cost::of(costOf([&] {
        std::vector<std::jthread> threads;
        for (int i = 0; i < printers; ++i) {
            threads.emplace_back([&] {
                if (!printBare(port, document)) stop("a bare loop fails");
            });
        }
    }));
}

std::string printersText(int printers, const char* what) {
    return std::to_string(printers) + (printers == 1 ? " printer: " : " printers: ") + what;
}

void run(Report& report) {
    testing::Peer sink("http_sink --discard");
    const int port = std::atoi(sink.url().c_str() + sink.url().rfind(':') + 1);
    const std::string document(2 << 20, 'x');
    const auto documentBytes = static_cast<double>(document.size());
    for (const int printers : {1, 2, 4, 8, 16, 32}) {
        // A turn of each that does not count, for what happens once in a process's life.
        printOurs(sink.url(), printers, document);
        printBareLoops(port, printers, document);
        Cost ours, bare;
        for (int turn = 0; turn < 8; ++turn) {
            ours.add(printOurs(sink.url(), printers, document));
            bare.add(printBareLoops(port, printers, document));
        }
        report.add({printersText(printers, "CPU"), "s", ours.cpu(), bare.cpu(), 1.05});
        report.add({printersText(printers, "time"), "s", ours.wall, bare.wall, 0});
        report.add({printersText(printers, "queue beside the document"), "KiB",
                    ours.queueBytes / 1024, documentBytes / 1024, 1.04});
        report.add({printersText(printers, "peak memory"), "KiB", ours.peakBytes / 1024,
                    bare.peakBytes / 1024, 0});
    }
    const Cost prompt = printOurs(sink.url(), 16, document, Pace::prompt);
    report.add({"16 printers, prompt: queue beside the document", "KiB", prompt.queueBytes / 1024,
                documentBytes / 1024, 1.04});
    // With little to send only the pauses take time, and they run in parallel.
    const std::string small(10 * 1024, 'x');
    Cost one, many;
    for (int turn = 0; turn < 3; ++turn) {
        one.add(printOurs(sink.url(), 1, small));
        many.add(printOurs(sink.url(), 16, small));
    }
    report.add({"10 KiB: time for 16 printers beside one", "s", many.wall, one.wall, 1.1});
}

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
    velmora::bench::Report report(argc, argv);
    velmora::bench::run(report);
}
