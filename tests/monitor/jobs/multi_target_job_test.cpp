#include "monitor/jobs/multi_target_job.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "harness/native_threading.h"
#include "tests/monitor/jobs/fake_printers.h"

namespace velmora {
namespace {

using testing_support::FakePrinter;
using testing_support::NativeJobPlatform;

void print(PrintJob& job, const std::vector<std::string>& pieces) {
    for (const std::string& piece : pieces)
        ASSERT_TRUE(job.write(piece.data(), piece.size()));
    ASSERT_TRUE(job.write(nullptr, 0));
}

void runJob(NativeJobPlatform& platform, const std::vector<std::string>& pieces) {
    MultiTargetJob job(platform.targets(), "Doc", {}, platform);
    EXPECT_FALSE(job.failed());
    print(job, pieces);
}

void expectWholeDocument(const FakePrinter& printer, const std::string& document) {
    EXPECT_EQ(printer.received, document);
    EXPECT_EQ(printer.ends, 1u);
    EXPECT_EQ(printer.responses, 1u);
    EXPECT_EQ(printer.closed, 1u);
}

void expectAllFreed(const NativeJobPlatform& platform) {
    EXPECT_EQ(platform.memory.liveBlocks(), 0u);
    EXPECT_EQ(platform.memory.wrongReleases(), 0u);
}

TEST(MultiTargetJob, EveryPrinterGetsTheWholeDocumentInOrderAndIsAskedForItsAnswer) {
    NativeJobPlatform platform(5);
    runJob(platform, {"one ", "two ", "three"});
    for (std::size_t i = 0; i < 5; ++i)
        expectWholeDocument(platform.printer(i), "one two three");
    expectAllFreed(platform);
}

TEST(MultiTargetJob, EveryWorkerHasItsOwnCopyOfTheOrder) {
    NativeJobPlatform platform(2);
    {
        auto targets = std::make_unique<std::vector<PrintTarget>>(platform.targets());
        (*targets)[1] = {"1", 1, "user", "secret"};
        auto name = std::make_unique<std::string>("Report of the year, long enough for the heap");
        auto jobTemplate = std::make_unique<JobTemplate>();
        jobTemplate->copies = 7;
        testing_support::NativeEvent go(EventReset::Manual);
        for (std::size_t i = 0; i < 2; ++i) {
            platform.printer(i).beforeConnect = [&go] { go.wait(); };
        }
        MultiTargetJob job(*targets, *name, *jobTemplate, platform);
        targets.reset();
        name.reset();
        jobTemplate.reset();
        go.set();
        print(job, {"x"});
    }
    EXPECT_EQ(platform.printer(1).target, (PrintTarget{"1", 1, "user", "secret"}));
    EXPECT_EQ(platform.printer(1).documentName, "Report of the year, long enough for the heap");
    EXPECT_EQ(platform.printer(1).jobTemplate.copies, 7u);
}

TEST(MultiTargetJob, EmptyDocumentStillEndsEveryRequest) {
    NativeJobPlatform platform(2);
    runJob(platform, {});
    for (std::size_t i = 0; i < 2; ++i)
        expectWholeDocument(platform.printer(i), "");
    expectAllFreed(platform);
}

struct Fault {
    const char* name;
    void (*plant)(FakePrinter&);
    const char* received;
    std::size_t closed;
};

class MultiTargetJobFault : public testing::TestWithParam<Fault> {};

TEST_P(MultiTargetJobFault, OtherPrintersHaveTheWholeDocument) {
    NativeJobPlatform platform(4);
    GetParam().plant(platform.printer(2));
    runJob(platform, {"a", "b", "c", "d"});
    for (const std::size_t i : {0, 1, 3})
        expectWholeDocument(platform.printer(i), "abcd");
    const FakePrinter& faulty = platform.printer(2);
    EXPECT_EQ(faulty.received, GetParam().received);
    EXPECT_EQ(faulty.responses, 0u) << "an answer is read only after a faultless delivery";
    EXPECT_EQ(faulty.closed, GetParam().closed);
    expectAllFreed(platform);
}

INSTANTIATE_TEST_SUITE_P(
    All, MultiTargetJobFault,
    testing::Values(Fault{"Refuses", [](FakePrinter& p) { p.refuses = true; }, "", 0},
                    Fault{"NoMemoryToConnect", [](FakePrinter& p) { p.throwsOnConnect = true; }, "",
                          0},
                    Fault{"BreaksAtOnce", [](FakePrinter& p) { p.failsAfter = 0; }, "", 1},
                    Fault{"BreaksMidway", [](FakePrinter& p) { p.failsAfter = 2; }, "ab", 1},
                    Fault{"BreaksAtTheEnd", [](FakePrinter& p) { p.failsAfter = 4; }, "abcd", 1},
                    Fault{"NoMemoryMidway", [](FakePrinter& p) { p.throwsAfter = 2; }, "ab", 1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(MultiTargetJob, BrokenConnectionGetsNothingMore) {
    NativeJobPlatform platform(1);
    platform.printer(0).failsAfter = 1;
    runJob(platform, {"a", "b", "c", "d"});
    EXPECT_EQ(platform.printer(0).sends, 2u);
}

TEST(MultiTargetJob, PrinterWithoutAThreadIsLeftOut) {
    NativeJobPlatform platform(3);
    platform.failingThread = 1;
    runJob(platform, {"a", "b"});
    expectWholeDocument(platform.printer(0), "ab");
    expectWholeDocument(platform.printer(2), "ab");
    EXPECT_EQ(platform.printer(1).sends, 0u);
    expectAllFreed(platform);
}

TEST(MultiTargetJob, DroppedWithoutAnEndItEndsTheDocumentItself) {
    NativeJobPlatform platform(2);
    {
        MultiTargetJob job(platform.targets(), "Doc", {}, platform);
        ASSERT_TRUE(job.write("a", 1));
    }
    expectWholeDocument(platform.printer(0), "a");
    expectAllFreed(platform);
}

TEST(MultiTargetJob, PieceWithoutMemoryIsRefusedAndTheJobStillEnds) {
    NativeJobPlatform platform(2);
    {
        MultiTargetJob job(platform.targets(), "Doc", {}, platform);
        ASSERT_TRUE(job.write("a", 1));
        platform.memory.allow(0);
        EXPECT_FALSE(job.write("b", 1));
        EXPECT_TRUE(job.write(nullptr, 0));
    }
    expectWholeDocument(platform.printer(1), "a");
    expectAllFreed(platform);
}

TEST(MultiTargetJob, WriterNeverWaitsForASlowPrinter) {
    NativeJobPlatform platform(2);
    testing_support::NativeEvent go(EventReset::Manual);
    platform.printer(1).beforeConnect = [&go] { go.wait(); };
    {
        MultiTargetJob job(platform.targets(), "Doc", {}, platform);
        const std::string piece(1024, 'x');
        for (int i = 0; i < 200; ++i)
            ASSERT_TRUE(job.write(piece.data(), piece.size()));
        ASSERT_TRUE(job.write(nullptr, 0));
        EXPECT_EQ(platform.memory.liveBlocks(), 201u) << "the slow printer needs every packet";
        go.set();
    }
    expectWholeDocument(platform.printer(1), std::string(200 * 1024, 'x'));
    EXPECT_LE(platform.memory.peakBytes(), 200u * 1024 * 104 / 100);
    expectAllFreed(platform);
}

TEST(MultiTargetJob, DeadPrinterDoesNotKeepTheDocumentInMemory) {
    NativeJobPlatform platform(2);
    platform.printer(0).refuses = true;
    platform.printer(1).refuses = true;
    MultiTargetJob job(platform.targets(), "Doc", {}, platform);
    const std::string piece(1024, 'x');
    // Both workers end at some time; from then on nothing may be kept.
    while (platform.memory.liveBlocks() > 1 || platform.memory.allocations() < 100) {
        ASSERT_TRUE(job.write(piece.data(), piece.size()));
    }
    const std::size_t before = platform.memory.liveBlocks();
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(job.write(piece.data(), piece.size()));
    EXPECT_EQ(platform.memory.liveBlocks(), before);
}

/// Threads that end only when they have been waited for a number of times.
class StubbornThread final : public WorkerThread {
  public:
    explicit StubbornThread(std::vector<std::string>& log) : log_(log) {}
    bool waitForEnd(std::uint32_t milliseconds) override {
        log_.push_back("wait " + std::to_string(milliseconds));
        return ++waits_ == 3;
    }

  private:
    std::vector<std::string>& log_;
    int waits_ = 0;
};

class LoggedEvent final : public Event {
  public:
    LoggedEvent(EventReset reset, std::vector<std::string>& log) : reset_(reset), log_(log) {}
    void set() override {}
    void reset() override {}
    void pulse() override {
        if (reset_ == EventReset::Manual) log_.push_back("pulse");
    }
    void wait() override {}

  private:
    EventReset reset_;
    std::vector<std::string>& log_;
};

class StubbornPlatform final : public JobPlatform {
  public:
    std::unique_ptr<Event> makeEvent(EventReset reset) override {
        return std::make_unique<LoggedEvent>(reset, log);
    }
    void* allocate(std::size_t size) noexcept override { return memory.allocate(size); }
    void release(void* block) noexcept override { memory.release(block); }
    std::unique_ptr<WorkerThread> startThread(std::function<void()>) override {
        return std::make_unique<StubbornThread>(log);
    }
    std::unique_ptr<DocumentConnection> connect(const PrintTarget&, const std::string&,
                                                const JobTemplate&) override {
        return nullptr;
    }

    std::vector<std::string> log;
    testing_support::CountedMemory memory;
};

TEST(MultiTargetJob, EndWaitsInStepsOfASecondAndPulsesBeforeEach) {
    StubbornPlatform platform;
    {
        MultiTargetJob job({{"a", 0, {}, {}}, {"b", 0, {}, {}}}, "Doc", {}, platform);
        ASSERT_TRUE(job.write(nullptr, 0));
        platform.log.clear();
    }
    std::vector<std::string> expected;
    for (int i = 0; i < 2 * 3; ++i)
        expected.insert(expected.end(), {"pulse", "wait 1000"});
    EXPECT_EQ(platform.log, expected);
    EXPECT_EQ(platform.memory.liveBlocks(), 0u);
}

}  // namespace
}  // namespace velmora
