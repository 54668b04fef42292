#include <cups/cups.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "bench/codec_messages.h"
#include "bench/malloc_counts.h"
#include "bench/report.h"
#include "ipp/encoder.h"
#include "ipp/reader.h"

// The message codec beside libcups, on the same bytes: what each printed job costs before and after
// its document.

namespace velmora::bench {
namespace {

/// At least five times as fast as the peer.
constexpr double kAim = 0.2;
/// At most the peer's memory.
constexpr double kNotMore = 1;
constexpr int kTurns = 25;
/// The connection hands answers over in such pieces.
constexpr std::size_t kPiece = 1024;

void check(bool good, const char* what) {
    if (good) return;
    std::fprintf(stderr, "codec_bench: %s\n", what);
    std::exit(1);
}

struct Source {
    const std::vector<std::uint8_t>& bytes;
    std::size_t at = 0;
};

ssize_t take(void* context, ipp_uchar_t* area, std::size_t size) {
    Source& source = *static_cast<Source*>(context);
    size = std::min(size, source.bytes.size() - source.at);
    std::memcpy(area, source.bytes.data() + source.at, size);
    source.at += size;
    return static_cast<ssize_t>(size);
}

std::size_t countOf(const IppMessage& message) {
    std::size_t count = 0;
    for (unsigned group = 0; group < kIppGroupCount; ++group) {
        const IppAttribute* attribute = message.group(static_cast<IppGroup>(group)).head;
        for (; attribute != nullptr; attribute = attribute->next)
            ++count;
    }
    return count;
}

void readOurs(const std::vector<std::uint8_t>& bytes) {
    const UniqueIppMessage message = newIppMessage();
    IppReader reader(*message, IppReadMode::response);
    int result = 0;
    for (std::size_t at = 0; at < bytes.size(); at += kPiece) {
        result = reader.feed(bytes.data() + at, std::min(kPiece, bytes.size() - at));
    }
    check(result == 1, "our reader refuses the answer");
}

void readPeers(const std::vector<std::uint8_t>& bytes) {
    ipp_t* const message = ippNew();
    Source source{bytes};
    check(ippReadIO(&source, take, 1, nullptr, message) == IPP_STATE_DATA,
          "libcups refuses the answer");
    ippDelete(message);
}

/// Seconds of processor time, which other programs on the machine disturb less than wall time.
template <class Body>
double processorSeconds(const Body& body) {
    const std::clock_t start = std::clock();
    body();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Time, allocations and bytes allocated of the two, per message.
template <class Ours, class Peer>
void compare(Report& report, const std::string& what, int repetitions, const Ours& ours,
             const Peer& peer) {
    const auto repeat = [=](const auto& body) {
        return [=] {
            for (int i = 0; i < repetitions; ++i)
                body();
        };
    };
    ours();
    peer();
    const auto times = medianOfTurns(kTurns, repeat(ours), repeat(peer),
                                     [](const auto& body) { return processorSeconds(body); });
    report.add(
        {what, "us", times.first / repetitions * 1e6, times.second / repetitions * 1e6, kAim});
    const auto counted = [](const auto& body) {
        const MallocCounts before = mallocCounts();
        body();
        const MallocCounts after = mallocCounts();
        return MallocCounts{after.count - before.count, after.bytes - before.bytes};
    };
    const MallocCounts mine = counted(ours);
    const MallocCounts theirs = counted(peer);
    report.add({what + ": allocations", "", static_cast<double>(mine.count),
                static_cast<double>(theirs.count), kNotMore});
    report.add({what + ": bytes allocated", "B", static_cast<double>(mine.bytes),
                static_cast<double>(theirs.bytes), kNotMore});
}

void compareWriting(Report& report, int jobs) {
    std::vector<std::uint8_t> area(100000);
    const auto ours = [&] { return writeOurs(area, jobs); };
    const auto peer = [&] { return writePeers(area, jobs); };
    const std::size_t size = ours();
    const std::vector<std::uint8_t> written(area.begin(),
                                            area.begin() + static_cast<std::ptrdiff_t>(size));
    check(peer() == size && std::equal(written.begin(), written.end(), area.begin()),
          "the two requests differ");
    compare(report, "Print-Job, " + std::to_string(size) + " B: build, encode, free",
            static_cast<int>(4000000 / (size + 500)), ours, peer);
}

void compareReading(Report& report, const std::vector<std::uint8_t>& bytes) {
    const UniqueIppMessage message = newIppMessage();
    check(IppReader(*message, IppReadMode::response).feed(bytes.data(), bytes.size()) == 1,
          "our reader refuses the answer");
    const std::string what = "answer of " + std::to_string(bytes.size()) + " B, " +
                             std::to_string(countOf(*message)) + " attributes: read, free";
    compare(
        report, what, static_cast<int>(4000000 / (bytes.size() + 1000)), [&] { readOurs(bytes); },
        [&] { readPeers(bytes); });
}

int run(int argc, char** argv) {
    Report report(argc, argv);
    for (const int jobs : {0, 1, 3, 10, 100})
        compareWriting(report, jobs);
    compareReading(report, printJobAsAnswer());
    for (const int attributes : {0, 1, 5, 50, 150, 1000})
        compareReading(report, printerAnswer(attributes));
    return 0;
}

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
    return velmora::bench::run(argc, argv);
}
