#include "monitor/jobs/job_record.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "monitor/jobs/port_job.h"
#include "platform/threads_std.h"
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
        // The steps in which a job waits for its workers would only take time here.
        stdThreads().millisecond = std::chrono::microseconds(1);
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

    ~JobRecordTest() override {
        job.reset();
        stdThreads() = {};
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

TEST_F(JobRecordTest, APrinterWithoutAThreadIsToldAtTheEndOfTheJob) {
    std::size_t started = 0;
    stdThreads().permit = [&started](const ThreadCall& call) {
        return call.kind != ThreadCall::startThread || started++ != 1;
    };
    run();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(line(2).outcome, DeliveryOutcome::notReached);
    EXPECT_EQ(line(2).reason, (DeliveryReason{DeliveryStep::connect, 8, 0, {}}));
    EXPECT_EQ(line(4).outcome, DeliveryOutcome::accepted);
}

TEST_F(JobRecordTest, AJobThatIsAbandonedBeforeItStartedIsToldForEveryPrinter) {
    record->setPrinters({"ipp://a", "ipp://b"});
    job->recordIn(record);
    job->abandon([](const JobInfo&) {});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(line(1).outcome, DeliveryOutcome::abandoned);
    EXPECT_EQ(line(2).outcome, DeliveryOutcome::abandoned);
    job.reset();
    EXPECT_EQ(lines.size(), 2u);
}

TEST_F(JobRecordTest, APrinterWithoutMemoryIsNotReached) {
    printers.printer(0).throwsOnConnect = true;
    run();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(line(1).outcome, DeliveryOutcome::notReached);
    EXPECT_EQ(line(1).reason.error, 8u);
    EXPECT_EQ(line(1).reason.step, DeliveryStep::connect);
}

/// A connection that does as it is told, and writes down what it is asked.
struct Script {
    bool failed = false;
    bool result = true;  ///< of every other call
    DeliveryReason reason;
    std::vector<std::string> calls;
};

class ScriptedDelivery final : public Delivery {
  public:
    explicit ScriptedDelivery(Script& script) : script_(script) {}
    ~ScriptedDelivery() override { script_.calls.emplace_back("destroy"); }

    bool failed() const override {
        script_.calls.emplace_back("failed");
        return script_.failed;
    }
    bool write(std::span<const std::byte>) override { return call("write"); }
    bool writeChunk(std::span<const std::byte>) override { return call("writeChunk"); }
    bool end() override { return call("end"); }
    bool accepted() override { return call("accepted"); }
    void leaveOpen() noexcept override { script_.calls.emplace_back("leaveOpen"); }
    DeliveryReason reason() const override {
        script_.calls.emplace_back("reason");
        return script_.reason;
    }

  private:
    bool call(const char* name) {
        script_.calls.emplace_back(name);
        return script_.result;
    }

    Script& script_;
};

/// The record alone, with connections of which each does as its script says.
class WatchedDeliveryTest : public ::testing::Test {
  protected:
    WatchedDeliveryTest() { now = 1000; }

    void open(std::size_t printers) {
        std::vector<std::string> urls;
        for (std::size_t i = 1; i <= printers; ++i)
            urls.push_back("ipp://" + std::to_string(i));
        record->setPrinters(urls);
    }
    /// The watched connection to the printer at `position`.
    std::unique_ptr<Delivery> connect(std::size_t position) {
        const Connect watched = record->watch([this](const DeliveryOrder& order) {
            if (order.report != nullptr) order.report->userName = "anna";
            if (throws) throw std::bad_alloc();
            return std::make_unique<ScriptedDelivery>(script);
        });
        return watched({{}, "D", position, nullptr});
    }
    /// The line of the second printer of two.
    static DeliveryEntry secondOfTwo(DeliveryOutcome outcome, const DeliveryReason& reason) {
        DeliveryEntry entry = common();
        entry.time = now;
        entry.user = "anna";
        entry.printer = "ipp://2";
        entry.targets = 2;
        entry.target = 2;
        entry.outcome = outcome;
        entry.reason = reason;
        return entry;
    }
    /// Whether this line, and no other, has been written since the last look.
    void expectLine(const DeliveryEntry& expected, bool startFailed = false) {
        const std::vector<std::string> one{deliveryLine(expected) +
                                           (startFailed ? "start failed" : "")};
        EXPECT_EQ(std::exchange(lines, {}), one);
    }
    static DeliveryEntry common() {
        DeliveryEntry entry;
        entry.port = "P";
        entry.job = 7;
        entry.document = "D";
        return entry;
    }

    Script script;
    bool throws = false;
    std::vector<std::string> lines;
    std::shared_ptr<JobRecord> record = std::make_shared<JobRecord>(
        common(),
        [this](DeliveryEntry entry, bool startFailed) {
            script.calls.emplace_back("line");
            lines.push_back(deliveryLine(entry) + (startFailed ? "start failed" : ""));
        },
        [] { return now; });
};

TEST_F(WatchedDeliveryTest, HandsOnEveryCallAndItsResult) {
    const ChunkFrame frame(1);
    const std::string chunk = std::string(frame.sizeLine()) + "x\r\n";
    for (const bool result : {true, false}) {
        SCOPED_TRACE(result);
        open(1);
        script = {.failed = false, .result = result, .reason = kBroken, .calls = {}};
        const auto delivery = connect(1);
        script.failed = !result;
        EXPECT_EQ(delivery->failed(), !result);
        EXPECT_EQ(delivery->write(bytesOf("x")), result);
        EXPECT_EQ(delivery->writeChunk(bytesOf(chunk)), result);
        EXPECT_EQ(delivery->end(), result);
        EXPECT_EQ(delivery->accepted(), result);
        EXPECT_EQ(delivery->reason(), kBroken);
        delivery->leaveOpen();
        std::vector<std::string> others;
        for (const std::string& call : script.calls)
            if (call != "failed" && call != "reason" && call != "line") others.push_back(call);
        EXPECT_EQ(others, (std::vector<std::string>{"write", "writeChunk", "end", "accepted",
                                                    "leaveOpen"}));
        EXPECT_EQ(script.calls.back(), "leaveOpen");
    }
}

TEST_F(WatchedDeliveryTest, IsOnlyDestroyedAfterItWasLeftOpen) {
    open(1);
    auto delivery = connect(1);
    script.calls.clear();
    delivery->leaveOpen();
    delivery.reset();
    EXPECT_EQ(script.calls, (std::vector<std::string>{"leaveOpen", "destroy", "line"}));
}

TEST_F(WatchedDeliveryTest, APartLastsFromItsConnectionToTheEndOfIt) {
    open(2);
    now = 1500;
    auto delivery = connect(2);
    now = 1750;
    delivery.reset();
    EXPECT_EQ(script.calls.back(), "line") << "the connection has been closed before";
    DeliveryEntry expected = secondOfTwo(DeliveryOutcome::notReached, {});
    expected.duration = 250;
    expectLine(expected);
}

TEST_F(WatchedDeliveryTest, AClockThatIsSetBackGivesNoDuration) {
    open(2);
    auto delivery = connect(2);
    now = 999;
    delivery.reset();
    expectLine(secondOfTwo(DeliveryOutcome::notReached, {}));
}

TEST_F(WatchedDeliveryTest, APrinterThatWasNeverBegunHadNoMemoryForAThread) {
    open(2);
    { const auto delivery = connect(1); }
    lines.clear();
    now += 30;
    record->finish();
    DeliveryEntry expected =
        secondOfTwo(DeliveryOutcome::notReached, {DeliveryStep::connect, 8, 0, {}});
    expected.user.clear();
    expected.duration = 30;
    expectLine(expected);
    record->finish();
    record->abandon();
    EXPECT_TRUE(lines.empty()) << "everything has been told";
}

TEST_F(WatchedDeliveryTest, WithoutMemoryToConnectThePrinterIsNotReached) {
    throws = true;
    open(2);
    EXPECT_THROW(connect(2), std::bad_alloc);
    DeliveryEntry expected =
        secondOfTwo(DeliveryOutcome::notReached, {DeliveryStep::connect, 8, 0, {}});
    expected.user.clear();
    expectLine(expected);
}

TEST_F(WatchedDeliveryTest, WithoutMemoryToConnectTheOnlyPrinterTheStartFails) {
    throws = true;
    open(1);
    EXPECT_THROW(connect(1), std::bad_alloc);
    DeliveryEntry expected =
        secondOfTwo(DeliveryOutcome::notReached, {DeliveryStep::connect, 8, 0, {}});
    expected.user.clear();
    expected.printer = "ipp://1";
    expected.targets = expected.target = 1;
    expectLine(expected, true);
}

TEST_F(WatchedDeliveryTest, OneOfSeveralThatFailsAtOnceIsToldWithItsReason) {
    open(2);
    script.failed = true;
    script.reason = kBroken;
    { const auto delivery = connect(2); }
    expectLine(secondOfTwo(DeliveryOutcome::notReached, kBroken));
}

TEST_F(WatchedDeliveryTest, TheFirstFailureIsTheReason) {
    open(2);
    auto delivery = connect(2);
    script.failed = true;
    script.result = false;
    script.reason = kBroken;
    EXPECT_FALSE(delivery->write(bytesOf("x")));
    script.reason = kServerError;
    EXPECT_FALSE(delivery->end());
    delivery.reset();
    expectLine(secondOfTwo(DeliveryOutcome::notReached, kBroken));
}

TEST_F(WatchedDeliveryTest, WithoutAFailureThereIsNoReason) {
    open(2);
    script.reason = kBroken;
    auto delivery = connect(2);
    EXPECT_TRUE(delivery->write(bytesOf("x")));
    delivery.reset();
    DeliveryEntry expected = secondOfTwo(DeliveryOutcome::incomplete, {});
    expected.bytes = 1;
    expectLine(expected);
}

TEST_F(WatchedDeliveryTest, ADocumentThatWasNotEndedIsIncompleteWithoutAnIppStatus) {
    open(2);
    script.reason = kServerError;
    auto delivery = connect(2);
    EXPECT_TRUE(delivery->write(bytesOf("xy")));
    EXPECT_TRUE(delivery->accepted());
    delivery.reset();
    DeliveryEntry expected = secondOfTwo(DeliveryOutcome::incomplete, {});
    expected.bytes = 2;
    expectLine(expected);
}

TEST_F(WatchedDeliveryTest, AnOrderForNoneOfThePrintersIsHandedOnAndNotTold) {
    open(2);
    for (const std::size_t position : {0, 3}) {
        script.calls.clear();
        auto delivery = connect(position);
        ASSERT_NE(delivery, nullptr);
        delivery.reset();
        EXPECT_EQ(script.calls, std::vector<std::string>{"destroy"});
    }
    EXPECT_TRUE(lines.empty());
}

TEST_F(WatchedDeliveryTest, AJobWithoutPrintersIsOneLine) {
    open(0);
    record->finish();
    DeliveryEntry expected = common();
    expected.time = 1000;
    expected.outcome = DeliveryOutcome::notReached;
    expected.reason.step = DeliveryStep::resolve;
    expectLine(expected);
}

}  // namespace
}  // namespace velmora
