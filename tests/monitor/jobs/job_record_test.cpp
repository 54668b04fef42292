#include "monitor/jobs/job_record.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "monitor/jobs/port_job.h"
#include "tests/monitor/jobs/fake_printers.h"

namespace velmora {
namespace {

using testing::bytesOf;
using testing::FakePrinter;
using testing::FakePrinters;

constexpr DeliveryReason kNoConnection{DeliveryStep::connect, 12029, 0, {}};
constexpr DeliveryReason kBroken{DeliveryStep::send, 10054, 0, {}};
constexpr DeliveryReason kAccepted{DeliveryStep::none, 0, 0, 0x0001};
constexpr DeliveryReason kRefused{DeliveryStep::answer, 0, 0, 0x040B};
constexpr DeliveryReason kServerError{DeliveryStep::answer, 0, 500, {}};

std::int64_t now = 0;

class JobRecordTest : public ::testing::Test {
  protected:
    struct Line {
        DeliveryEntry entry;
        bool startFailed;
    };

    explicit JobRecordTest(std::size_t count = 4) : printers(count) {
        now = 1000;
        for (std::size_t i = 0; i < count; ++i)
            printers.printer(i).answerReason = kAccepted;
        DeliveryEntry common;
        common.port = "P";
        common.job = 7;
        common.document = "D";
        record = std::make_shared<JobRecord>(
            common,
            [this](DeliveryEntry entry, bool startFailed) {
                const std::lock_guard lock(mutex_);
                lines.push_back({std::move(entry), startFailed});
            },
            [] { return now; });
    }

    /// Runs the whole job; the result of its start.
    bool run(const std::string& document = "document") {
        const bool started = start();
        std::uint32_t accepted = 0;
        if (started) job->write(bytesOf(document), accepted);
        job.reset();
        return started;
    }
    bool start(Pace pace = Pace::steady) {
        std::vector<std::string> urls;
        for (const PrintTarget& target : printers.targets())
            urls.push_back("ipp://u:p@printer/" + target.url);
        record->setPrinters(urls);
        job->recordIn(record);
        return job->start(printers.connect(), printers.targets(), AfterJob::leaveOpen, pace);
    }
    const DeliveryEntry& line(std::uint32_t target) const {
        for (const Line& one : lines)
            if (one.entry.target == target) return one.entry;
        ADD_FAILURE() << "no line for target " << target;
        return lines.front().entry;
    }

    FakePrinters printers;
    std::vector<Line> lines;
    std::shared_ptr<JobRecord> record;
    std::unique_ptr<PortJob> job =
        std::make_unique<PortJob>(JobInfo{7, "D", nullptr}, [](const JobInfo&) {});

  private:
    std::mutex mutex_;
};

class OnePrinter : public JobRecordTest {
  protected:
    OnePrinter() : JobRecordTest(1) {}
    FakePrinter& printer = printers.printer(0);

    void expect(DeliveryOutcome outcome, const DeliveryReason& reason, std::uint64_t bytes,
                bool startFailed = false) {
        ASSERT_EQ(lines.size(), 1u);
        const DeliveryEntry& entry = lines[0].entry;
        EXPECT_EQ(keyword(entry.outcome), keyword(outcome));
        EXPECT_EQ(entry.reason, reason) << keyword(entry.reason.step) << entry.reason.error;
        EXPECT_EQ(entry.bytes, bytes);
        EXPECT_EQ(entry.targets, 1u);
        EXPECT_EQ(entry.target, 1u);
        EXPECT_EQ(entry.user, "anna");
        EXPECT_EQ(entry.printer, "ipp://printer/0");
        EXPECT_EQ(lines[0].startFailed, startFailed);
    }
};

TEST_F(OnePrinter, AcceptsTheJob) {
    EXPECT_TRUE(run());
    expect(DeliveryOutcome::accepted, kAccepted, 8);
    EXPECT_EQ(lines[0].entry.port, "P");
    EXPECT_EQ(lines[0].entry.job, 7u);
    EXPECT_EQ(lines[0].entry.document, "D");
}

TEST_F(OnePrinter, RefusesTheJob) {
    printer.answerReason = kRefused;
    printer.rejects = true;
    run();
    expect(DeliveryOutcome::refused, kRefused, 8);
}

TEST_F(OnePrinter, TheLastSuccessfulStatusIsTwo) {
    printer.answerReason.ippStatus = 2;
    run();
    EXPECT_EQ(lines.at(0).entry.outcome, DeliveryOutcome::accepted);
}

TEST_F(OnePrinter, TheFirstStatusThatRefusesIsThree) {
    printer.answerReason.ippStatus = 3;
    run();
    EXPECT_EQ(lines.at(0).entry.outcome, DeliveryOutcome::refused);
}

TEST_F(OnePrinter, GivesNoUsableAnswer) {
    printer.answerReason = kServerError;
    printer.rejects = true;
    run();
    expect(DeliveryOutcome::noAnswer, kServerError, 8);
}

TEST_F(OnePrinter, BreaksInTheMiddle) {
    printer.failsAfter = 1;
    printer.sendReason = kBroken;
    run(std::string(3000, 'x'));
    expect(DeliveryOutcome::incomplete, kBroken, 1024);
}

TEST_F(OnePrinter, BreaksBeforeItsFirstByte) {
    printer.failsAfter = 0;
    printer.sendReason = kBroken;
    EXPECT_FALSE(run());
    expect(DeliveryOutcome::notReached, kBroken, 0, true);
}

TEST_F(OnePrinter, CannotBeReached) {
    printer.refuses = true;
    printer.connectReason = kNoConnection;
    EXPECT_FALSE(run());
    expect(DeliveryOutcome::notReached, kNoConnection, 0, true);
}

TEST_F(OnePrinter, IsToldOfWhenTheSpoolerNeverEndsTheJob) {
    ASSERT_TRUE(start());
    now += 2500;
    job->abandon();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].entry.outcome, DeliveryOutcome::abandoned);
    EXPECT_EQ(lines[0].entry.duration, 2500u);
    job.reset();
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(OnePrinter, AStartThatFailedIsNotAbandonedAsWell) {
    printer.refuses = true;
    EXPECT_FALSE(start());
    job->abandon();
    EXPECT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].entry.outcome, DeliveryOutcome::notReached);
}

TEST_F(OnePrinter, AnAnswerCountsEvenIfTheEndCouldNotBeSent) {
    printer.failsAfter = 1;
    printer.sendReason = kBroken;
    run();
    EXPECT_EQ(lines.at(0).entry.outcome, DeliveryOutcome::accepted);
}

TEST_F(OnePrinter, AnEndThatCouldNotBeSentIsIncompleteWithoutAnAnswer) {
    printer.failsAfter = 1;
    printer.sendReason = kBroken;
    printer.answerReason = kServerError;
    run();
    expect(DeliveryOutcome::incomplete, kBroken, 8);
}

TEST_F(OnePrinter, AnAnswerThatIsNotWaitedForIsNone) {
    const DeliveryReason timedOut{DeliveryStep::answer, 12002, 0, {}};
    printer.failsAfter = 1;
    printer.sendReason = printer.answerReason = timedOut;
    run();
    expect(DeliveryOutcome::noAnswer, timedOut, 8);
}

TEST_F(JobRecordTest, EveryPrinterOfAJobHasItsOwnLine) {
    printers.printer(1).answerReason = kRefused;
    printers.printer(2).refuses = true;
    printers.printer(2).connectReason = kNoConnection;
    printers.printer(3).failsAfter = 1;
    printers.printer(3).sendReason = kBroken;
    ASSERT_TRUE(start());
    std::uint32_t accepted = 0;
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(job->write(bytesOf(std::string(1000, 'x')), accepted));
    job.reset();
    ASSERT_EQ(lines.size(), 4u);
    for (const Line& one : lines) {
        EXPECT_EQ(one.entry.targets, 4u);
        EXPECT_FALSE(one.startFailed);
    }
    EXPECT_EQ(line(1).outcome, DeliveryOutcome::accepted);
    EXPECT_EQ(line(1).bytes, 3000u);
    EXPECT_EQ(line(2).outcome, DeliveryOutcome::refused);
    EXPECT_EQ(line(3).outcome, DeliveryOutcome::notReached);
    EXPECT_EQ(line(3).reason, kNoConnection);
    EXPECT_EQ(line(4).outcome, DeliveryOutcome::incomplete);
    EXPECT_EQ(line(4).bytes, 1000u);
}

TEST_F(JobRecordTest, WhatFramesAChunkIsNotCounted) {
    printers.printer(3).failsAfter = 1;
    ASSERT_TRUE(start(Pace::prompt));
    std::uint32_t accepted = 0;
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(job->write(bytesOf(std::string(1000, 'x')), accepted));
    job.reset();
    EXPECT_EQ(line(1).bytes, 3000u);
    EXPECT_EQ(line(4).bytes, 1000u);
    EXPECT_EQ(line(4).outcome, DeliveryOutcome::incomplete);
}

TEST_F(JobRecordTest, APrinterWithoutMemoryIsNotReached) {
    printers.printer(0).throwsOnConnect = true;
    run();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(line(1).outcome, DeliveryOutcome::notReached);
    EXPECT_EQ(line(1).reason.error, 8u);
    EXPECT_EQ(line(1).reason.step, DeliveryStep::connect);
}

TEST(JobRecordWithoutPrinters, IsOneLine) {
    std::vector<DeliveryEntry> lines;
    const auto record = std::make_shared<JobRecord>(
        DeliveryEntry(), [&](DeliveryEntry entry, bool) { lines.push_back(std::move(entry)); },
        [] { return now; });
    record->setPrinters({});
    record->finish();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].targets, 0u);
    EXPECT_EQ(lines[0].target, 0u);
    EXPECT_EQ(lines[0].outcome, DeliveryOutcome::notReached);
    EXPECT_EQ(lines[0].reason.step, DeliveryStep::resolve);
}

}  // namespace
}  // namespace velmora
