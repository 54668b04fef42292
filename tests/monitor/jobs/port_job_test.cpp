#include "monitor/jobs/port_job.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/threads_std.h"
#include "tests/monitor/jobs/fake_printers.h"

namespace velmora {
namespace {

using testing::bytesOf;
using testing::FakePrinters;

std::vector<JobInfo> reports;

class PortJobTest : public ::testing::Test {
  protected:
    PortJobTest() {
        reports.clear();
        // The steps in which a job waits for its workers would only take time here.
        stdThreads().millisecond = std::chrono::microseconds(1);
    }
    ~PortJobTest() override {
        job.reset();
        stdThreads() = {};
    }

    bool start() { return job->start(connect, printers.targets()); }

    int handle = 0;
    FakePrinters printers{1};
    Connect connect = printers.connect();
    std::unique_ptr<PortJob> job = std::make_unique<PortJob>(
        JobInfo{7, "Doc", &handle}, [](const JobInfo& info) { reports.push_back(info); });
    std::uint32_t accepted = 4711;
};

TEST_F(PortJobTest, DataIsCutIntoPiecesOf1024Bytes) {
    ASSERT_TRUE(start());
    EXPECT_TRUE(job->started());
    for (const std::size_t size : {1u, 1024u, 1025u, 2500u}) {
        EXPECT_TRUE(job->write(bytesOf(std::string(size, 'x')), accepted));
        EXPECT_EQ(accepted, size);
    }
    EXPECT_EQ(printers.printer(0).pieces,
              (std::vector<std::size_t>{1, 1024, 1024, 1, 1024, 1024, 452}));
}

TEST_F(PortJobTest, PromptJobHandsOnPiecesOf64KiBAndHoldsNothingBack) {
    ASSERT_TRUE(
        job->start(printers.connect(), printers.targets(), AfterJob::leaveOpen, Pace::prompt));
    for (const std::size_t size : {1u, 1025u, 65536u, 65537u}) {
        EXPECT_TRUE(job->write(bytesOf(std::string(size, 'x')), accepted));
        EXPECT_EQ(accepted, size);
    }
    EXPECT_EQ(printers.printer(0).pieces, (std::vector<std::size_t>{1, 1025, 65536, 65536, 1}));
}

TEST_F(PortJobTest, FirstPieceThatIsNotTakenEndsTheWriting) {
    printers.printer(0).failsAfter = 2;
    ASSERT_TRUE(start());
    EXPECT_FALSE(job->write(bytesOf(std::string(5000, 'x')), accepted));
    EXPECT_EQ(accepted, 2048u);
    EXPECT_FALSE(job->write(bytesOf("more"), accepted));
    EXPECT_EQ(accepted, 0u);
}

TEST_F(PortJobTest, EndEndsTheDocumentAsksForTheAnswerAndReports) {
    ASSERT_TRUE(start());
    ASSERT_TRUE(job->write(bytesOf("x"), accepted));
    job.reset();
    EXPECT_EQ(printers.printer(0).ends, 1u);
    EXPECT_EQ(printers.printer(0).responses, 1u);
    EXPECT_EQ(printers.printer(0).closed, 0u) << "the connection of the only printer stays open";
    EXPECT_EQ(printers.printer(0).leftOpen, 1u);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].jobId, 7u);
    EXPECT_EQ(reports[0].printerHandle, &handle);
}

TEST_F(PortJobTest, TheConnectionIsClosedIfThatIsAskedFor) {
    ASSERT_TRUE(job->start(printers.connect(), printers.targets(), AfterJob::close));
    ASSERT_TRUE(job->write(bytesOf("x"), accepted));
    EXPECT_EQ(printers.printer(0).closed, 0u);
    job.reset();
    EXPECT_EQ(printers.printer(0).responses, 1u);
    EXPECT_EQ(printers.printer(0).closed, 1u);
}

TEST_F(PortJobTest, EndOfABrokenConnectionSendsNothingAndReports) {
    printers.printer(0).failsAfter = 1;
    ASSERT_TRUE(start());
    EXPECT_FALSE(job->write(bytesOf(std::string(1025, 'x')), accepted));
    job.reset();
    EXPECT_EQ(printers.printer(0).sends, 2u);
    EXPECT_EQ(printers.printer(0).responses, 0u);
    EXPECT_EQ(reports.size(), 1u);
}

TEST_F(PortJobTest, AnswerIsAskedForEvenWhenTheEndCouldNotBeSent) {
    printers.printer(0).failsAfter = 1;
    ASSERT_TRUE(start());
    ASSERT_TRUE(job->write(bytesOf("x"), accepted));
    job.reset();
    EXPECT_EQ(printers.printer(0).ends, 0u);
    EXPECT_EQ(printers.printer(0).responses, 1u);
}

TEST_F(PortJobTest, WithoutMemoryForTheEndTheSpoolerIsToldAllTheSame) {
    printers.printer(0).throwsAfter = 0;
    ASSERT_TRUE(start());
    job.reset();
    EXPECT_EQ(reports.size(), 1u);
}

TEST_F(PortJobTest, EndOfTheOnlyPrintersDocumentTellsWhetherItWasAccepted) {
    const auto accepts = [](void (*plant)(testing::FakePrinter&)) {
        FakePrinters one(1);
        plant(one.printer(0));
        SingleTargetJob single(one.connect(), {one.targets()[0], "Doc", 1}, AfterJob::close);
        return single.end();
    };
    EXPECT_TRUE(accepts([](testing::FakePrinter&) {}));
    EXPECT_FALSE(accepts([](testing::FakePrinter& p) { p.rejects = true; }));
    EXPECT_FALSE(accepts([](testing::FakePrinter& p) { p.refuses = true; }));
    EXPECT_FALSE(accepts([](testing::FakePrinter& p) { p.failsAfter = 0; }));
}

TEST_F(PortJobTest, OnlyPrinterThatIsNotReachedFailsTheStart) {
    printers.printer(0).refuses = true;
    EXPECT_FALSE(start());
    EXPECT_FALSE(job->write(bytesOf("x"), accepted));
    job.reset();
    EXPECT_EQ(reports.size(), 1u);
}

TEST_F(PortJobTest, OnlyPrinterThatFailsAtOnceFailsTheStart) {
    printers.printer(0).failsAfter = 0;
    EXPECT_FALSE(start());
}

// The spooler does not end a job whose start has failed.
TEST_F(PortJobTest, ConnectionOfAJobThatCannotStartIsClosedAtOnceIfThatIsAskedFor) {
    printers.printer(0).failsAfter = 0;
    EXPECT_FALSE(job->start(printers.connect(), printers.targets(), AfterJob::close));
    EXPECT_FALSE(job->started());
    EXPECT_EQ(printers.printer(0).closed, 1u);
    EXPECT_FALSE(job->write(bytesOf("x"), accepted));
    job.reset();
    EXPECT_EQ(printers.printer(0).responses, 0u);
    EXPECT_EQ(reports.size(), 1u) << "it may be ended all the same";
}

TEST_F(PortJobTest, JobThatIsAbandonedBeforeItStartedReportsInAnotherWay) {
    printers.printer(0).refuses = true;
    EXPECT_FALSE(start());
    static int told;
    told = 0;
    job->abandon([](const JobInfo& info) { told += static_cast<int>(info.jobId); });
    job.reset();
    EXPECT_EQ(told, 7);
    EXPECT_EQ(reports.size(), 0u);
}

TEST_F(PortJobTest, WithoutAPrinterTheJobIsTakenAndItsDataRefused) {
    EXPECT_TRUE(job->start(printers.connect(), {}));
    EXPECT_FALSE(job->write(bytesOf("x"), accepted));
    EXPECT_EQ(accepted, 0u);
    job.reset();
    EXPECT_EQ(reports.size(), 1u);
}

TEST_F(PortJobTest, SeveralPrintersEachGetTheDocumentAndAreClosed) {
    FakePrinters several(3);
    several.printer(1).refuses = true;
    EXPECT_TRUE(job->start(several.connect(), several.targets()));
    EXPECT_TRUE(job->write(bytesOf("document"), accepted));
    job.reset();
    for (const std::size_t i : {0, 2}) {
        EXPECT_EQ(several.printer(i).received, "document");
        EXPECT_EQ(several.printer(i).order.documentName, "Doc");
        EXPECT_EQ(several.printer(i).closed, 1u);
    }
    EXPECT_EQ(reports.size(), 1u);
}

}  // namespace
}  // namespace velmora
