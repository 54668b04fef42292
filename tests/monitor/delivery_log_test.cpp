#include "monitor/delivery_log.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "monitor/jobs/job_record.h"
#include "monitor/jobs/port_job.h"
#include "tests/monitor/jobs/fake_printers.h"

namespace velmora {
namespace {

using testing::bytesOf;
using testing::FakePrinters;

/// Records what is written; fails on demand.
class FakeOutput final : public DeliveryOutput {
  public:
    std::size_t append(std::span<const std::string> given, std::uint32_t recordMiB) override {
        ++calls;
        whileWriting();
        if (throwsNext) throw std::bad_alloc();
        std::size_t written = 0;
        for (const std::string& line : given) {
            if (full || lines.size() == room) break;
            lines.push_back(line);
            sizes.push_back(recordMiB);
            ++written;
        }
        return written;
    }
    void report(const DeliveryEntry& entry, std::uint32_t leftOut) override {
        if (throwsNext) throw std::bad_alloc();
        events.push_back(std::string(keyword(entry.outcome)) + " " + std::to_string(leftOut));
    }
    std::string words(std::uint32_t error) override { return "words " + std::to_string(error); }
    std::int64_t now() override { return time; }
    void sleep(std::uint32_t milliseconds) override {
        ++sleeps;
        time += milliseconds;
        whileAsleep();
    }

    bool full = false;
    bool throwsNext = false;
    std::size_t room = 1000000;  ///< lines that can be written
    std::size_t calls = 0;
    std::int64_t time = 0;
    std::size_t sleeps = 0;
    std::function<void()> whileAsleep = [] {};
    std::function<void()> whileWriting = [] {};
    std::vector<std::string> lines;
    std::vector<std::uint32_t> sizes;
    std::vector<std::string> events;
};

constexpr DeliveryLogSettings kRecord{20, 0};

// The log's threads, which the test runs when it likes.
std::vector<std::thread> threads;
bool noThread = false;
bool hold = false;
std::vector<std::pair<void (*)(void*), void*>> held;

bool startThread(void (*body)(void*), void* log) {
    if (noThread) return false;
    if (hold) {
        held.emplace_back(body, log);
    } else {
        threads.emplace_back(body, log);
    }
    return true;
}

void joinThreads() {
    for (const auto& [body, log] : std::exchange(held, {}))
        body(log);
    for (std::thread& thread : std::exchange(threads, {}))
        thread.join();
}

class DeliveryLogTest : public ::testing::Test {
  protected:
    DeliveryLogTest() { noThread = hold = false; }
    ~DeliveryLogTest() override { joinThreads(); }

    static DeliveryEntry entry(DeliveryOutcome outcome = DeliveryOutcome::accepted,
                               std::uint32_t job = 1) {
        DeliveryEntry one;
        one.port = "P";
        one.job = job;
        one.printer = "ipp://a";
        one.outcome = outcome;
        if (outcome != DeliveryOutcome::accepted) one.reason.error = 12029;
        return one;
    }

    FakeOutput output;
    DeliveryLog log{output, startThread};
};

TEST_F(DeliveryLogTest, WritesWhatItIsGiven) {
    log.add(entry(), false, kRecord);
    joinThreads();
    ASSERT_EQ(output.lines.size(), 1u);
    EXPECT_EQ(output.lines[0], deliveryLine(entry()));
    EXPECT_EQ(output.sizes[0], 20u);
    EXPECT_TRUE(output.events.empty());
}

TEST_F(DeliveryLogTest, GivesAnErrorTheSystemsWords) {
    for (const std::uint32_t error : {12029, 1, 0}) {
        DeliveryEntry failure = entry(DeliveryOutcome::notReached);
        failure.reason.error = error;
        log.add(failure, false, kRecord);
        joinThreads();
        if (error != 0) failure.errorText = "words " + std::to_string(error);
        EXPECT_EQ(output.lines.back(), deliveryLine(failure));
    }
}

TEST_F(DeliveryLogTest, ATurnedOffLogStartsNoThread) {
    log.add(entry(), false, {});
    EXPECT_TRUE(threads.empty());
}

TEST_F(DeliveryLogTest, OneThreadWritesManyAndTheNextIsStartedWhenItIsNeeded) {
    hold = true;
    for (int i = 0; i < 10; ++i)
        log.add(entry(), false, kRecord);
    EXPECT_EQ(held.size(), 1u);
    joinThreads();
    EXPECT_EQ(output.lines.size(), 10u);
    log.add(entry(), false, kRecord);
    EXPECT_EQ(held.size(), 1u);
    joinThreads();
    EXPECT_EQ(output.lines.size(), 11u);
}

TEST_F(DeliveryLogTest, TheFirstLineIsWrittenAtOnceAndOthersGatherForASecond) {
    log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.sleeps, 0u);
    output.time += 300;
    output.whileAsleep = [this] {
        if (output.time == 650) log.add(entry(), false, kRecord);
    };
    log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.time, 1000);
    EXPECT_EQ(output.lines.size(), 3u);
    EXPECT_EQ(output.calls, 2u);
}

TEST_F(DeliveryLogTest, ALineASecondLaterIsWrittenAtOnce) {
    log.add(entry(), false, kRecord);
    joinThreads();
    output.time += 1000;
    log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.sleeps, 0u);
    EXPECT_EQ(output.calls, 2u);
}

TEST_F(DeliveryLogTest, ALongQueueIsNotLeftToGather) {
    log.add(entry(), false, kRecord);
    joinThreads();
    hold = true;
    for (int i = 0; i < 1023; ++i)
        log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.sleeps, 20u) << "a short one is";
    for (int i = 0; i < 1024; ++i)
        log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.sleeps, 20u);
    EXPECT_EQ(output.lines.size(), 1u + 1023u + 1024u);
}

TEST_F(DeliveryLogTest, OneThreadRunsUntilAllIsWritten) {
    hold = true;
    EXPECT_FALSE(log.running());
    log.add(entry(), false, kRecord);
    EXPECT_TRUE(log.running());
    output.whileWriting = [this] {
        EXPECT_TRUE(log.running());
        if (output.calls == 1) log.add(entry(), false, kRecord);
    };
    joinThreads();
    EXPECT_FALSE(log.running());
    EXPECT_EQ(output.lines.size(), 2u);
    EXPECT_TRUE(held.empty()) << "the thread that was there has written it";
}

TEST_F(DeliveryLogTest, AFlushEndsTheGathering) {
    log.add(entry(), false, kRecord);
    joinThreads();
    output.whileAsleep = [this] { log.flush(); };
    log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.sleeps, 1u);
    EXPECT_EQ(output.lines.size(), 2u);
    // Later lines gather again.
    output.whileAsleep = [] {};
    log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.sleeps, 1u + 20u);
}

TEST_F(DeliveryLogTest, TheEndOfTheLibraryDoesNotWaitForMore) {
    log.add(entry(), false, kRecord);
    joinThreads();
    noThread = true;
    log.add(entry(), false, kRecord);
    log.finish();
    EXPECT_EQ(output.sleeps, 0u);
    EXPECT_EQ(output.lines.size(), 2u);
}

TEST_F(DeliveryLogTest, LinesWaitForAThreadThatCannotBeStarted) {
    noThread = true;
    log.add(entry(), false, kRecord);
    noThread = false;
    log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.lines.size(), 2u);
}

TEST_F(DeliveryLogTest, TellsHowManyLinesWereLost) {
    output.full = true;
    for (int i = 0; i < 3; ++i) {
        log.add(entry(), false, kRecord);
        joinThreads();
    }
    output.full = false;
    output.throwsNext = true;
    log.add(entry(), false, kRecord);
    joinThreads();
    output.throwsNext = false;
    log.add(entry(), false, kRecord);
    log.add(entry(), false, kRecord);
    joinThreads();
    ASSERT_EQ(output.lines.size(), 2u);
    EXPECT_NE(output.lines[0].find("\"lost\":4"), std::string::npos) << output.lines[0];
    EXPECT_EQ(output.lines[1].find("\"lost\""), std::string::npos);
}

TEST_F(DeliveryLogTest, ALineIsLostWithAnEventThatCannotBeReported) {
    output.throwsNext = true;
    log.add(entry(DeliveryOutcome::refused), false, {20, 1});
    joinThreads();
    output.throwsNext = false;
    log.add(entry(), false, kRecord);
    joinThreads();
    ASSERT_EQ(output.lines.size(), 1u);
    EXPECT_NE(output.lines[0].find("\"lost\":1}"), std::string::npos) << output.lines[0];
}

TEST_F(DeliveryLogTest, WritesAtOnceWhatHasGathered) {
    hold = true;
    for (std::uint32_t job = 1; job <= 5; ++job)
        log.add(entry(DeliveryOutcome::accepted, job), false, kRecord);
    log.add(entry(DeliveryOutcome::accepted, 6), false, {30, 0});
    joinThreads();
    EXPECT_EQ(output.calls, 2u);
    EXPECT_EQ(output.sizes, (std::vector<std::uint32_t>{20, 20, 20, 20, 20, 30}));
}

TEST_F(DeliveryLogTest, CountsWhatIsLostOfLinesThatHaveGathered) {
    hold = true;
    output.room = 2;
    for (int i = 0; i < 5; ++i)
        log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.lines.size(), 2u);
    output.room = 10;
    log.add(entry(), false, kRecord);
    joinThreads();
    ASSERT_EQ(output.lines.size(), 3u);
    EXPECT_NE(output.lines[2].find("\"lost\":3"), std::string::npos) << output.lines[2];
}

TEST_F(DeliveryLogTest, HoldsNoMoreThanItsQueue) {
    hold = true;
    for (int i = 0; i < 5000; ++i)
        log.add(entry(), false, kRecord);
    joinThreads();
    EXPECT_EQ(output.lines.size(), 4096u);
    EXPECT_NE(output.lines[0].find("\"lost\":904"), std::string::npos) << output.lines[0];
}

/// 200 jobs to 16 printers each, as fast as possible.
void runJobs(DeliveryLog& log) {
    constexpr std::size_t kPrinters = 16;
    for (int i = 0; i < 200; ++i) {
        FakePrinters printers(kPrinters);
        for (std::size_t k = 0; k < kPrinters; ++k)
            printers.printer(k).answerReason = {DeliveryStep::none, 0, 0, 0};
        auto record = std::make_shared<JobRecord>(
            DeliveryEntry(),
            [&log](DeliveryEntry entry, bool startFailed) {
                log.add(std::move(entry), startFailed, kRecord);
            },
            [] { return std::int64_t{1000}; });
        record->setPrinters(std::vector<std::string>(kPrinters, "ipp://a"));
        PortJob job({1, "D", nullptr}, [](const JobInfo&) {});
        job.recordIn(record);
        ASSERT_TRUE(
            job.start(printers.connect(), printers.targets(), AfterJob::leaveOpen, Pace::prompt));
        std::uint32_t accepted = 0;
        ASSERT_TRUE(job.write(bytesOf("document"), accepted));
    }
}

TEST_F(DeliveryLogTest, JobsNeitherWriteNorWaitForAWriterThatStandsStill) {
    // The writer does not run before all jobs have ended: a job that waited for it would wait for
    // ever, and one that wrote by itself would be noticed.
    hold = true;
    runJobs(log);
    EXPECT_EQ(output.calls, 0u);
    EXPECT_EQ(held.size(), 1u);
    // A directory that cannot be written costs only the lines, which are counted.
    output.full = true;
    joinThreads();
    EXPECT_EQ(output.calls, 1u);
    output.full = false;
    log.add(entry(), false, kRecord);
    joinThreads();
    ASSERT_EQ(output.lines.size(), 1u);
    EXPECT_NE(output.lines[0].find("\"lost\":3200"), std::string::npos) << output.lines[0];
}

TEST_F(DeliveryLogTest, CountsRepeatedStartsAndTellsThemAtTheEnd) {
    for (int i = 0; i < 4; ++i)
        log.add(entry(DeliveryOutcome::notReached, 7), true, kRecord);
    joinThreads();
    EXPECT_EQ(output.lines.size(), 1u);
    log.finish();
    ASSERT_EQ(output.lines.size(), 2u);
    EXPECT_NE(output.lines[1].find("\"repeats\":3"), std::string::npos);
}

TEST_F(DeliveryLogTest, RepeatedStartsAreToldOnDemand) {
    log.flush();
    EXPECT_TRUE(threads.empty()) << "a log that was never used has nothing to tell";
    for (int i = 0; i < 3; ++i)
        log.add(entry(DeliveryOutcome::notReached, 7), true, kRecord);
    log.flush();
    joinThreads();
    EXPECT_FALSE(log.running());
    ASSERT_EQ(output.lines.size(), 2u);
    EXPECT_NE(output.lines[1].find("\"repeats\":2"), std::string::npos);
    log.flush();
    joinThreads();
    EXPECT_EQ(output.lines.size(), 2u);
}

TEST_F(DeliveryLogTest, RepeatedStartsAreToldOnDemandWhenTheThreadHasLongEnded) {
    for (int i = 0; i < 3; ++i)
        log.add(entry(DeliveryOutcome::notReached, 7), true, kRecord);
    joinThreads();
    ASSERT_EQ(output.lines.size(), 1u);
    log.flush();
    joinThreads();
    ASSERT_EQ(output.lines.size(), 2u);
    EXPECT_NE(output.lines[1].find("\"repeats\":2"), std::string::npos);
}

TEST_F(DeliveryLogTest, TheEndWritesWhatNoThreadCouldWrite) {
    noThread = true;
    log.add(entry(), false, kRecord);
    log.finish();
    EXPECT_EQ(output.lines.size(), 1u);
}

TEST_F(DeliveryLogTest, EventsAreIndependentOfTheRecord) {
    log.add(entry(), false, {0, 1});
    log.add(entry(DeliveryOutcome::refused), false, {0, 1});
    log.add(entry(DeliveryOutcome::refused), false, {0, 1});
    joinThreads();
    EXPECT_EQ(output.events, std::vector<std::string>{"refused 0"});
    EXPECT_TRUE(output.lines.empty());
    log.add(entry(), false, {0, 2});
    joinThreads();
    EXPECT_EQ(output.events.back(), "accepted 0");
}

TEST_F(DeliveryLogTest, ManyThreadsAddAtOnce) {
    std::vector<std::thread> writers;
    for (int i = 0; i < 8; ++i) {
        writers.emplace_back([this] {
            for (int k = 0; k < 50; ++k)
                log.add(entry(), false, kRecord);
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    joinThreads();
    log.finish();
    EXPECT_EQ(output.lines.size(), 400u);
}

}  // namespace
}  // namespace velmora
