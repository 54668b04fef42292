// Writer and workers under random delays, with every kind of printer in one job. Natively under
// AddressSanitizer and ThreadSanitizer; a smaller run with the product's own events.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <tuple>

#include "monitor/jobs/multi_target_job.h"
#include "tests/monitor/jobs/fake_printers.h"

#ifdef _WIN32
#include <windows.h>

#include "harness/wininet/import_patch.h"
#else
#include "platform/threads_std.h"
#endif

namespace velmora {
namespace {

using testing::bytesOf;
using testing::FakePrinter;
using testing::FakePrinters;

using Random = std::minstd_rand;

void delay(Random& random, unsigned maxMicroseconds) {
    const unsigned choice = random() % 8;
    if (choice < 4) return;
    if (choice < 6) return std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(random() % (maxMicroseconds + 1)));
}

enum Kind { Healthy, Slow, Late, Refusing, NoMemory, BreaksMidway, DiesMidway, kKinds };

Kind plant(FakePrinter& printer, Random& random, std::uint32_t seed, std::size_t pieces) {
    const Kind kind = static_cast<Kind>(random() % kKinds);
    auto own = std::make_shared<Random>(seed);
    const unsigned pace = kind == Slow ? 300 : 20;
    const unsigned start = kind == Late ? 20000 : 500;
    printer.beforeConnect = [own, start] { delay(*own, start); };
    printer.beforeSend = [own, pace] { delay(*own, pace); };
    printer.refuses = kind == Refusing;
    printer.throwsOnConnect = kind == NoMemory;
    if (kind == BreaksMidway) printer.failsAfter = random() % (pieces + 1);
    if (kind == DiesMidway) printer.throwsAfter = random() % (pieces + 1);
    return kind;
}

/// How long rounds are begun. VELMORA_STRESS_SECONDS asks for more.
std::chrono::milliseconds patience() {
    const char* const seconds = std::getenv("VELMORA_STRESS_SECONDS");
    return seconds == nullptr ? std::chrono::milliseconds(200)
                              : std::chrono::seconds(std::atoi(seconds));
}

/// The real steps in which a job waits for its workers would only take time here, and events that
/// lose pulses show what rarely happens on an idle machine. Windows' own events lose some by
/// themselves.
struct Surroundings {
    bool losePulses = false;

#ifdef _WIN32
    static DWORD WINAPI shortWait(HANDLE object, DWORD milliseconds) {
        return WaitForSingleObjectEx(object, milliseconds == INFINITE ? INFINITE : 1, FALSE);
    }
    velmora::testing::ImportPatch shortSteps{"KERNEL32.dll", "WaitForSingleObject",
                                             reinterpret_cast<void (*)()>(&shortWait)};
#else
    Surroundings() {
        stdThreads().millisecond = std::chrono::microseconds(1);
        stdThreads().permit = [this, pulses = 0](const ThreadCall& call) mutable {
            return call.kind != ThreadCall::pulse || !losePulses || ++pulses % 2 != 0;
        };
    }
    ~Surroundings() {
        stdThreads() = {};
    }
#endif
};

class MultiTargetStress : public ::testing::TestWithParam<std::tuple<std::size_t, Pace>> {};

TEST_P(MultiTargetStress, HealthyPrintersGetEveryByteAndEveryPacketIsFreedOnce) {
    const auto [printers, pace] = GetParam();
    Surroundings surroundings;
    const auto deadline = std::chrono::steady_clock::now() + patience();
    for (std::uint32_t round = 0; round < 40; ++round) {
        if (round >= 3 && std::chrono::steady_clock::now() > deadline) break;
        SCOPED_TRACE("round " + std::to_string(round));
        Random random(static_cast<std::uint32_t>(printers * 1000 + round));
        FakePrinters fakes(printers);
        surroundings.losePulses = round % 3 == 2;
        const std::size_t pieces = random() % 60;
        std::vector<Kind> kinds;
        for (std::size_t i = 0; i < printers; ++i) {
            const auto seed = static_cast<std::uint32_t>(random());
            kinds.push_back(plant(fakes.printer(i), random, seed, pieces));
        }
        const unsigned writerPace = round % 2 == 0 ? 0 : 200;
        std::string document;
        {
            MultiTargetJob job(fakes.connect(), fakes.targets(), "Doc", fakes.packetMemory(), pace);
            for (std::size_t i = 0; i < pieces; ++i) {
                const std::string piece = std::to_string(i) + std::string(random() % 1000, 'p');
                document += piece;
                ASSERT_TRUE(job.write(bytesOf(piece)));
                delay(random, writerPace);
            }
            ASSERT_TRUE(job.end());
        }
        for (std::size_t i = 0; i < printers; ++i) {
            const FakePrinter& printer = fakes.printer(i);
            SCOPED_TRACE("printer " + std::to_string(i) + " of kind " + std::to_string(kinds[i]));
            const bool whole = kinds[i] == Healthy || kinds[i] == Slow || kinds[i] == Late;
            const bool reached = kinds[i] != Refusing && kinds[i] != NoMemory;
            EXPECT_EQ(printer.closed, reached ? 1u : 0u);
            EXPECT_EQ(printer.ends, whole ? 1u : 0u);
            EXPECT_EQ(printer.responses, whole ? 1u : 0u);
            if (whole) {
                EXPECT_EQ(printer.received, document);
            } else {
                EXPECT_EQ(document.compare(0, printer.received.size(), printer.received), 0);
            }
        }
        ASSERT_EQ(fakes.memory.liveBlocks(), 0u);
        ASSERT_EQ(fakes.memory.wrongReleases(), 0u);
        ASSERT_EQ(fakes.memory.allocations(), pieces + 1);
    }
}

const auto kPaces = ::testing::Values(Pace::steady, Pace::prompt);

#ifdef _WIN32
INSTANTIATE_TEST_SUITE_P(Printers, MultiTargetStress,
                         ::testing::Combine(::testing::Values(2, 8), kPaces));
#else
INSTANTIATE_TEST_SUITE_P(Printers, MultiTargetStress,
                         ::testing::Combine(::testing::Values(1, 2, 3, 4, 7, 8, 16, 32, 48, 64),
                                            kPaces));
#endif

}  // namespace
}  // namespace velmora
