#include "monitor/jobs/multi_target_job.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/threads_std.h"
#include "tests/monitor/jobs/fake_printers.h"

namespace velmora {
namespace {

using testing::bytesOf;
using testing::FakePrinter;
using testing::FakePrinters;

/// A second of waiting takes a millisecond here.
class MultiTargetJobTest : public ::testing::Test {
  protected:
    MultiTargetJobTest() { stdThreads().millisecond = std::chrono::microseconds(1); }
    ~MultiTargetJobTest() override { stdThreads() = {}; }
};

void print(PrintJob& job, const std::vector<std::string>& pieces) {
    for (const std::string& piece : pieces)
        ASSERT_TRUE(job.write(bytesOf(piece)));
    ASSERT_TRUE(job.end());
}

void runJob(FakePrinters& printers, const std::vector<std::string>& pieces) {
    MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory());
    EXPECT_FALSE(job.failed());
    print(job, pieces);
}

void expectWholeDocument(const FakePrinter& printer, const std::string& document) {
    EXPECT_EQ(printer.received, document);
    EXPECT_EQ(printer.ends, 1u);
    EXPECT_EQ(printer.responses, 1u);
    EXPECT_EQ(printer.closed, 1u);
}

void expectAllFreed(const FakePrinters& printers) {
    EXPECT_EQ(printers.memory.liveBlocks(), 0u);
    EXPECT_EQ(printers.memory.wrongReleases(), 0u);
}

TEST_F(MultiTargetJobTest, EveryPrinterGetsTheWholeDocumentInOrderAndIsAskedForItsAnswer) {
    FakePrinters printers(5);
    runJob(printers, {"one ", "two ", "three"});
    for (std::size_t i = 0; i < 5; ++i)
        expectWholeDocument(printers.printer(i), "one two three");
    expectAllFreed(printers);
}

TEST_F(MultiTargetJobTest, EveryWorkerHasItsOwnCopyOfTheOrder) {
    FakePrinters printers(2);
    {
        auto targets = std::make_unique<std::vector<PrintTarget>>(printers.targets());
        (*targets)[1] = {"1", 1, "user", "secret"};
        auto name = std::make_unique<std::string>("Report of the year, long enough for the heap");
        Event go(EventReset::manual);
        for (std::size_t i = 0; i < 2; ++i) {
            printers.printer(i).beforeConnect = [&go] { go.wait(); };
        }
        MultiTargetJob job(printers.connect(), *targets, *name);
        targets.reset();
        name.reset();
        go.set();
        print(job, {"x"});
    }
    EXPECT_EQ(printers.printer(1).order.target, (PrintTarget{"1", 1, "user", "secret"}));
    EXPECT_EQ(printers.printer(1).order.documentName,
              "Report of the year, long enough for the heap");
}

TEST_F(MultiTargetJobTest, EmptyDocumentStillEndsEveryRequest) {
    FakePrinters printers(2);
    runJob(printers, {});
    for (std::size_t i = 0; i < 2; ++i)
        expectWholeDocument(printers.printer(i), "");
    expectAllFreed(printers);
}

TEST_F(MultiTargetJobTest, PromptWorkerBeginsWithWhatIsThereWithoutAPulse) {
    FakePrinters printers(3);
    Event go(EventReset::manual);
    for (std::size_t i = 0; i < 3; ++i)
        printers.printer(i).beforeConnect = [&go] { go.wait(); };
    stdThreads().permit = [](const ThreadCall& call) { return call.kind != ThreadCall::pulse; };
    {
        MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory(),
                           Pace::prompt);
        print(job, {"one ", "two"});
        go.set();
    }
    for (std::size_t i = 0; i < 3; ++i)
        expectWholeDocument(printers.printer(i), "one two");
    expectAllFreed(printers);
}

TEST_F(MultiTargetJobTest, WorkerThatHasSentWhatIsThereWaitsForMore) {
    FakePrinters printers(1);
    std::promise<void> go;
    std::promise<void> waited;
    std::atomic<int> waits = 0;
    printers.printer(0).beforeConnect = [&go] { go.get_future().wait(); };
    stdThreads().permit = [&](const ThreadCall& call) {
        const bool worker = call.kind == ThreadCall::wait && call.event == EventReset::manual;
        if (worker && waits++ == 0) waited.set_value();
        return true;
    };
    {
        MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory(),
                           Pace::prompt);
        ASSERT_TRUE(job.write(bytesOf("one ")));
        go.set_value();
        EXPECT_EQ(waited.get_future().wait_for(std::chrono::seconds(20)),
                  std::future_status::ready);
        print(job, {"two"});
    }
    expectWholeDocument(printers.printer(0), "one two");
}

TEST_F(MultiTargetJobTest, PromptDocumentIsFramedOnceForAllPrinters) {
    FakePrinters printers(2);
    {
        MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory(),
                           Pace::prompt);
        print(job, {"one ", "two"});
    }
    for (std::size_t i = 0; i < 2; ++i)
        expectWholeDocument(printers.printer(i), "one two");
    EXPECT_EQ(printers.printer(0).pieces, (std::vector<std::size_t>{4, 3}));
    EXPECT_EQ(printers.printer(0).chunks.size(), 2u);
    EXPECT_EQ(printers.printer(0).chunks, printers.printer(1).chunks);
    expectAllFreed(printers);
}

TEST_F(MultiTargetJobTest, SteadyDocumentIsNotFramed) {
    FakePrinters printers(2);
    runJob(printers, {"one ", "two"});
    EXPECT_EQ(printers.printer(0).chunks.size(), 0u);
}

struct Fault {
    const char* name;
    void (*plant)(FakePrinter&);
    const char* received;
    std::size_t closed;
};

class MultiTargetJobFault : public MultiTargetJobTest,
                            public ::testing::WithParamInterface<Fault> {};

TEST_P(MultiTargetJobFault, OtherPrintersHaveTheWholeDocument) {
    FakePrinters printers(4);
    GetParam().plant(printers.printer(2));
    runJob(printers, {"a", "b", "c", "d"});
    for (const std::size_t i : {0, 1, 3})
        expectWholeDocument(printers.printer(i), "abcd");
    const FakePrinter& faulty = printers.printer(2);
    EXPECT_EQ(faulty.received, GetParam().received);
    EXPECT_EQ(faulty.responses, 0u) << "an answer is read only after a faultless delivery";
    EXPECT_EQ(faulty.closed, GetParam().closed);
    expectAllFreed(printers);
}

INSTANTIATE_TEST_SUITE_P(
    All, MultiTargetJobFault,
    ::testing::Values(Fault{"Refuses", [](FakePrinter& p) { p.refuses = true; }, "", 0},
                      Fault{"NoMemoryToConnect", [](FakePrinter& p) { p.throwsOnConnect = true; },
                            "", 0},
                      Fault{"BreaksAtOnce", [](FakePrinter& p) { p.failsAfter = 0; }, "", 1},
                      Fault{"BreaksMidway", [](FakePrinter& p) { p.failsAfter = 2; }, "ab", 1},
                      Fault{"BreaksAtTheEnd", [](FakePrinter& p) { p.failsAfter = 4; }, "abcd", 1},
                      Fault{"NoMemoryMidway", [](FakePrinter& p) { p.throwsAfter = 2; }, "ab", 1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(MultiTargetJobTest, BrokenConnectionGetsNothingMore) {
    FakePrinters printers(1);
    printers.printer(0).failsAfter = 1;
    runJob(printers, {"a", "b", "c", "d"});
    EXPECT_EQ(printers.printer(0).sends, 2u);
}

TEST_F(MultiTargetJobTest, PrinterWithoutAThreadIsLeftOut) {
    FakePrinters printers(3);
    std::size_t started = 0;
    stdThreads().permit = [&started](const ThreadCall& call) {
        return call.kind != ThreadCall::startThread || started++ != 1;
    };
    runJob(printers, {"a", "b"});
    expectWholeDocument(printers.printer(0), "ab");
    expectWholeDocument(printers.printer(2), "ab");
    EXPECT_EQ(printers.printer(1).sends, 0u);
    expectAllFreed(printers);
}

TEST_F(MultiTargetJobTest, PrinterWithoutAThreadDoesNotKeepTheDocumentInMemory) {
    FakePrinters printers(2);
    stdThreads().permit = [](const ThreadCall& call) {
        return call.kind != ThreadCall::startThread;
    };
    MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory());
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(job.write(bytesOf("piece")));
        EXPECT_EQ(printers.memory.liveBlocks(), 1u) << "what ends the document";
    }
}

TEST_F(MultiTargetJobTest, DroppedWithoutAnEndItEndsTheDocumentItself) {
    FakePrinters printers(2);
    {
        MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory());
        ASSERT_TRUE(job.write(bytesOf("a")));
    }
    expectWholeDocument(printers.printer(0), "a");
    expectAllFreed(printers);
}

TEST_F(MultiTargetJobTest, PieceWithoutMemoryIsRefusedAndTheJobStillEnds) {
    FakePrinters printers(2);
    {
        MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory());
        ASSERT_TRUE(job.write(bytesOf("a")));
        printers.memory.allow(0);
        EXPECT_FALSE(job.write(bytesOf("b")));
        EXPECT_TRUE(job.end());
    }
    expectWholeDocument(printers.printer(1), "a");
    expectAllFreed(printers);
}

TEST_F(MultiTargetJobTest, WriterNeverWaitsForASlowPrinter) {
    FakePrinters printers(2);
    Event go(EventReset::manual);
    printers.printer(1).beforeConnect = [&go] { go.wait(); };
    {
        MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory());
        const std::string piece(1024, 'x');
        for (int i = 0; i < 200; ++i)
            ASSERT_TRUE(job.write(bytesOf(piece)));
        ASSERT_TRUE(job.end());
        EXPECT_EQ(printers.memory.liveBlocks(), 201u) << "the slow printer needs every packet";
        go.set();
    }
    expectWholeDocument(printers.printer(1), std::string(200 * 1024, 'x'));
    EXPECT_LE(printers.memory.peakBytes(), 200u * 1024 * 104 / 100);
    expectAllFreed(printers);
}

TEST_F(MultiTargetJobTest, DeadPrinterDoesNotKeepTheDocumentInMemory) {
    FakePrinters printers(2);
    printers.printer(0).refuses = true;
    printers.printer(1).refuses = true;
    MultiTargetJob job(printers.connect(), printers.targets(), "Doc", printers.packetMemory());
    const std::string piece(1024, 'x');
    // Both workers end at some point; from then on no packet may be kept.
    while (printers.memory.liveBlocks() > 1 || printers.memory.allocations() < 100) {
        ASSERT_TRUE(job.write(bytesOf(piece)));
    }
    const std::size_t before = printers.memory.liveBlocks();
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(job.write(bytesOf(piece)));
    EXPECT_EQ(printers.memory.liveBlocks(), before);
}

/// The pulses and waits at the end of a job to two printers, of which each worker ends at the third
/// check.
std::vector<std::string> stepsOfTheEnd(Pace pace) {
    FakePrinters printers(2);
    printers.printer(0).refuses = true;
    printers.printer(1).refuses = true;
    std::vector<std::string> log;
    int waits = 0;
    // Pulses and checks come only from this thread.
    stdThreads().permit = [&](const ThreadCall& call) {
        if (call.kind == ThreadCall::pulse) log.push_back("pulse");
        if (call.kind != ThreadCall::waitForEnd) return true;
        log.push_back("wait " + std::to_string(call.milliseconds));
        return ++waits % 3 == 0;
    };
    stdThreads().millisecond = std::chrono::seconds(1);
    {
        MultiTargetJob job(printers.connect(), printers.targets(), "Doc", {}, pace);
        EXPECT_TRUE(job.end());
        log.clear();
    }
    return log;
}

TEST_F(MultiTargetJobTest, EndWaitsInStepsAndPulsesBeforeEach) {
    for (const auto& [pace, wait] :
         {std::pair{Pace::steady, "wait 1000"}, {Pace::prompt, "wait 20"}}) {
        std::vector<std::string> expected;
        for (int i = 0; i < 2 * 3; ++i)
            expected.insert(expected.end(), {"pulse", wait});
        EXPECT_EQ(stepsOfTheEnd(pace), expected);
    }
}

}  // namespace
}  // namespace velmora
