// Limits of a connection to a printer whose answer never ends: without them a job would wait for
// ever.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "harness/peer.h"
#include "harness/printing.h"
#include "harness/wininet/import_patch.h"
#include "harness/wininet/wininet_functions.h"

namespace velmora {
namespace {

using testing::Peer;
using testing::targetOf;
using testing::testDocument;

constexpr std::uint32_t kTimedOut = ERROR_INTERNET_TIMEOUT;

/// The outcome of a job.
struct Outcome {
    bool started = false;
    bool accepted = false;
    std::uint32_t error = 0;

    bool operator==(const Outcome&) const = default;
};

constexpr Outcome kNotStarted{};
constexpr Outcome kRefused{.started = true};
constexpr Outcome kAccepted{.started = true, .accepted = true};
constexpr Outcome kGivenUp{.started = true, .error = kTimedOut};

void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << (outcome.started ? "started" : "not started") << (outcome.accepted ? ", accepted" : "")
         << ", error " << outcome.error;
}

Outcome runJob(const Peer& printer, const ConnectionOptions& options, std::size_t size = 5000) {
    const auto connection = testing::startJob(targetOf(printer.url()), "Document", options);
    if (!connection) return {};
    Outcome outcome{.started = true};
    outcome.accepted =
        connection->lastError() == 0 && testing::sendDocument(*connection, testDocument(size));
    outcome.error = connection->lastError();
    return outcome;
}

ConnectionOptions receiveWithin(std::uint32_t seconds) {
    ConnectionOptions options;
    options.receiveTimeout = seconds;
    return options;
}

class ConnectionLimits : public ::testing::Test {
  private:
    testing::ShortPauses shortPauses_;
};

// If a good answer follows or comes in between, it may take some seconds.

TEST_F(ConnectionLimits, SilenceEndsTheProbeAndTheJob) {
    const Peer probe("faulty_printer --on 1 --seconds 600 never-answers");
    EXPECT_EQ(runJob(probe, receiveWithin(1)), kNotStarted);
    const Peer job("faulty_printer --on 2 --seconds 600 never-answers");
    EXPECT_EQ(runJob(job, receiveWithin(4)), kGivenUp);
}

TEST_F(ConnectionLimits, ABodyThatDripsEndsWithTheTimeOut) {
    // Each byte comes in time, but never all of them. The answer to a probe does not matter.
    const Peer probe("faulty_printer --on 1 --seconds 0.3 drips-body");
    EXPECT_EQ(runJob(probe, receiveWithin(4)), kAccepted);
    const Peer job("faulty_printer --on 2 --seconds 0.3 drips-body");
    EXPECT_EQ(runJob(job, receiveWithin(4)), kGivenUp);
}

TEST_F(ConnectionLimits, AWholeAnswerCountsWhateverDripsBehindIt) {
    const Peer job("faulty_printer --on 2 --seconds 0.3 drips-after-the-answer");
    EXPECT_EQ(runJob(job, receiveWithin(4)), kAccepted);
}

// Wine's client cannot be interrupted in the headers (Windows' can: ConnectionOptionsCalls), so
// these come to an end; what took too long has failed all the same.
TEST_F(ConnectionLimits, HeadersThatDripCountLikeABodyThatDrips) {
    const Peer probe("faulty_printer --on 1 --size 8 --seconds 0.3 drips-headers");
    EXPECT_EQ(runJob(probe, receiveWithin(1)), kNotStarted);
    const Peer job("faulty_printer --on 2 --size 20 --seconds 0.3 drips-headers");
    EXPECT_EQ(runJob(job, receiveWithin(4)), kGivenUp);
}

TEST_F(ConnectionLimits, APrinterThatTakesNoDataEndsTheJobWithTheSendTimeOut) {
    const Peer printer("faulty_printer --on 2 --seconds 600 zero-window");
    ConnectionOptions options;
    options.sendTimeout = 1;
    const Outcome outcome = runJob(printer, options, 8 << 20);
    EXPECT_TRUE(outcome.started);
    EXPECT_FALSE(outcome.accepted);
    EXPECT_NE(outcome.error, 0u);
}

struct EndlessCase {
    const char* name;
    const char* behaviour;
    std::uint32_t receiveTimeout;
    Outcome asJob;
};

void PrintTo(const EndlessCase& c, std::ostream* out) {
    *out << c.behaviour;
}

class AnswerWithoutEnd : public ConnectionLimits,
                         public ::testing::WithParamInterface<EndlessCase> {};

// It delays nobody, even without a time-out, and does not affect the next request: the outcome is
// that of the first answer.
TEST_P(AnswerWithoutEnd, IsReadNoFurtherThanTheLongestAnswer) {
    const ConnectionOptions options = receiveWithin(GetParam().receiveTimeout);
    const std::string behaviour = GetParam().behaviour;
    EXPECT_EQ(runJob(Peer("faulty_printer --on 1 " + behaviour), options), kAccepted) << "probe";
    EXPECT_EQ(runJob(Peer("faulty_printer --on 2 " + behaviour), options), GetParam().asJob);
}

INSTANTIATE_TEST_SUITE_P(
    Every, AnswerWithoutEnd,
    ::testing::Values(EndlessCase{"InOnePiece", "endless-answer", 0, kAccepted},
                      EndlessCase{"InChunks", "endless-chunks", 0, kAccepted},
                      EndlessCase{"OfAttributes", "--size 0x2000000 endless-attributes", 0,
                                  kRefused},
                      EndlessCase{"WithATimeOut", "endless-answer", 90, kAccepted}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ConnectionLimits, AnErrorPageThatNeverEndsHoldsNobody) {
    const Peer job("faulty_printer --on 2 endless-error");
    EXPECT_EQ(runJob(job, {}), kRefused);
    // The platform itself would read all of it before it sends the next request.
    for (const std::uint32_t timeout : {0u, 60u}) {
        const Peer probe("faulty_printer --on 1 endless-error");
        EXPECT_EQ(runJob(probe, receiveWithin(timeout)), kAccepted);
    }
}

TEST_F(ConnectionLimits, RedirectsAreFollowedUnlessTheyAreNot) {
    Peer other("faulty_printer --on 0 slow");
    const std::string url = other.url();
    const std::size_t colon = url.rfind(':');
    const std::string port = url.substr(colon + 1, url.find('/', colon) - colon - 1);
    const std::string printer = "faulty_printer --size " + port + " redirects-to";
    const auto requestsElsewhere = [&] { return other.file("served").value_or(""); };
    ConnectionOptions options;
    options.followRedirects = false;
    EXPECT_EQ(runJob(Peer(printer), options), kRefused);
    EXPECT_EQ(requestsElsewhere(), "");
    runJob(Peer(printer), {});
    EXPECT_NE(requestsElsewhere(), "");
}

TEST_F(ConnectionLimits, RedirectsToAFileReadNoFile) {
    ConnectionOptions options;
    for (const bool follow : {true, false}) {
        options.followRedirects = follow;
        EXPECT_FALSE(runJob(Peer("faulty_printer redirects-to-a-file"), options).accepted);
    }
}

TEST_F(ConnectionLimits, GoodPrintersNoticeNothing) {
    ConnectionOptions options;
    options.connectTimeout = 30;
    options.sendTimeout = 120;
    options.receiveTimeout = 300;
    options.followRedirects = false;
    for (const char* behaviour : {"--on 0 slow", "many-continues", "no-reason", "late-continue",
                                  "early-answer", "--seconds 0.001 slow", "many-headers"}) {
        SCOPED_TRACE(behaviour);
        const Peer printer(std::string("faulty_printer ") + behaviour);
        EXPECT_EQ(runJob(printer, options, 200000), kAccepted);
    }
}

}  // namespace
}  // namespace velmora
