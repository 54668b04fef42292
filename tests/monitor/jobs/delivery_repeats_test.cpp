#include "monitor/jobs/delivery_repeats.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace velmora {
namespace {

constexpr std::int64_t kMinute = 60000;

DeliveryEntry failedStart(std::int64_t time, std::uint32_t job = 7) {
    DeliveryEntry entry;
    entry.time = time;
    entry.port = "P";
    entry.job = job;
    entry.document = "D";
    entry.printer = "ipp://a";
    entry.outcome = DeliveryOutcome::notReached;
    entry.reason = {DeliveryStep::connect, 12029, 0, {}};
    return entry;
}

std::vector<std::uint32_t> repeatsOf(const std::vector<DeliveryEntry>& lines) {
    std::vector<std::uint32_t> counts;
    for (const DeliveryEntry& line : lines)
        counts.push_back(line.repeats);
    return counts;
}

using Counts = std::vector<std::uint32_t>;

TEST(RepeatedStarts, AreCountedUntilTheNextLineOfThePort) {
    RepeatedStarts repeats;
    EXPECT_EQ(repeatsOf(repeats.admit(failedStart(0), true)), Counts{0});
    EXPECT_TRUE(repeats.admit(failedStart(1000), true).empty());
    EXPECT_TRUE(repeats.admit(failedStart(2000), true).empty());
    const auto lines = repeats.admit(failedStart(3000, 8), true);
    EXPECT_EQ(repeatsOf(lines), (Counts{2, 0}));
    EXPECT_EQ(lines.front().job, 7u);
    EXPECT_EQ(lines.front().time, 2000);
}

TEST(RepeatedStarts, AreCountedForTenMinutesAtMost) {
    RepeatedStarts repeats;
    repeats.admit(failedStart(0), true);
    EXPECT_TRUE(repeats.admit(failedStart(10 * kMinute - 1), true).empty());
    EXPECT_EQ(repeatsOf(repeats.admit(failedStart(10 * kMinute), true)), (Counts{1, 0}));
    EXPECT_TRUE(repeats.admit(failedStart(10 * kMinute + 1), true).empty());
}

TEST(RepeatedStarts, AreToldByAnotherPortsLineAfterTenMinutes) {
    RepeatedStarts repeats;
    repeats.admit(failedStart(0), true);
    repeats.admit(failedStart(1), true);
    DeliveryEntry other = failedStart(kMinute, 9);
    other.port = "Q";
    EXPECT_EQ(repeatsOf(repeats.admit(other, true)), Counts{0});
    other.time = 10 * kMinute;
    other.outcome = DeliveryOutcome::accepted;
    EXPECT_EQ(repeatsOf(repeats.admit(other, false)), (Counts{1, 0}));
}

TEST(RepeatedStarts, AreToldWhenTheLibraryIsUnloaded) {
    RepeatedStarts repeats;
    repeats.admit(failedStart(0), true);
    EXPECT_TRUE(repeats.finish().empty());
    repeats.admit(failedStart(0), true);
    repeats.admit(failedStart(1), true);
    EXPECT_EQ(repeatsOf(repeats.finish()), Counts{1});
    EXPECT_TRUE(repeats.finish().empty());
}

TEST(RepeatedStarts, JobsWithoutAnIdAndAcceptedJobsAreNeverCounted) {
    RepeatedStarts repeats;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(repeatsOf(repeats.admit(failedStart(i, 0), true)), Counts{0});
    DeliveryEntry accepted = failedStart(3);
    accepted.outcome = DeliveryOutcome::accepted;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(repeatsOf(repeats.admit(accepted, false)), Counts{0});
}

TEST(RepeatedStarts, AnyDifferenceIsALineOfItsOwn) {
    const auto differs = [](auto change) {
        RepeatedStarts repeats;
        repeats.admit(failedStart(0), true);
        DeliveryEntry next = failedStart(1);
        change(next);
        return repeats.admit(next, true).size() == 1;
    };
    EXPECT_FALSE(differs([](DeliveryEntry&) {}));
    EXPECT_TRUE(differs([](DeliveryEntry& e) { e.job = 8; }));
    EXPECT_TRUE(differs([](DeliveryEntry& e) { e.document = "E"; }));
    EXPECT_TRUE(differs([](DeliveryEntry& e) { e.printer = "ipp://b"; }));
    EXPECT_TRUE(differs([](DeliveryEntry& e) { e.outcome = DeliveryOutcome::incomplete; }));
    EXPECT_TRUE(differs([](DeliveryEntry& e) { e.reason.error = 12007; }));
    EXPECT_TRUE(differs([](DeliveryEntry& e) { e.reason.step = DeliveryStep::probe; }));
    EXPECT_TRUE(differs([](DeliveryEntry& e) { e.time = -1; }));
}

TEST(RepeatedStarts, AreNotCountedAfterAFailureThatWasNotAtTheStart) {
    RepeatedStarts repeats;
    EXPECT_EQ(repeatsOf(repeats.admit(failedStart(0), false)), Counts{0});
    EXPECT_EQ(repeatsOf(repeats.admit(failedStart(1), true)), Counts{0});
    EXPECT_EQ(repeatsOf(repeats.admit(failedStart(2), false)), Counts{0});
    EXPECT_EQ(repeatsOf(repeats.admit(failedStart(3), true)), Counts{0});
}

TEST(RepeatedStarts, OfTheFirstJobAreCounted) {
    RepeatedStarts repeats;
    repeats.admit(failedStart(0, 1), true);
    EXPECT_TRUE(repeats.admit(failedStart(1, 1), true).empty());
}

TEST(RepeatedStarts, OfAnotherPortAreToldByTheirAge) {
    // Begun at 20 minutes; told by a line of another port before them or ten minutes after them.
    for (const auto& [time, told] : {std::pair{20 * kMinute, false},
                                     {30 * kMinute - 1, false},
                                     {30 * kMinute, true},
                                     {20 * kMinute - 1, true}}) {
        RepeatedStarts repeats;
        repeats.admit(failedStart(20 * kMinute), true);
        repeats.admit(failedStart(20 * kMinute), true);
        DeliveryEntry other = failedStart(time);
        other.port = "Q";
        EXPECT_EQ(repeatsOf(repeats.admit(other, false)), told ? (Counts{1, 0}) : Counts{0})
            << time;
    }
}

DeliveryEntry failureOf(int printer, std::int64_t time) {
    DeliveryEntry entry = failedStart(time);
    entry.printer = "ipp://" + std::to_string(printer);
    return entry;
}

/// A limiter that has seen `printers`, the last of them when the others were of a minute before.
EventLimiter seen(int printers) {
    EventLimiter limiter;
    for (int printer = 0; printer < printers - 1; ++printer)
        EXPECT_EQ(limiter.admit(failureOf(printer, 0)), 0u);
    EXPECT_EQ(limiter.admit(failureOf(7, kMinute - 1)), std::nullopt);
    EXPECT_EQ(limiter.admit(failureOf(8, kMinute)), 0u);
    EXPECT_EQ(limiter.admit(failureOf(printers - 1, kMinute)), 0u);
    return limiter;
}

TEST(EventLimiter, ForgetsWhatIsOldWhenThereAreMoreThanAThousand) {
    // A clock that is set back shows whether a printer is remembered.
    EventLimiter few = seen(1024);
    EXPECT_EQ(few.admit(failureOf(0, kMinute - 1)), std::nullopt);
    EventLimiter many = seen(1025);
    EXPECT_EQ(many.admit(failureOf(0, kMinute - 1)), 0u);
}

TEST(EventLimiter, ForgetsNeitherWhatIsLeftToTellNorWhatWasToldLately) {
    EventLimiter limiter = seen(1025);
    EXPECT_EQ(limiter.admit(failureOf(7, kMinute)), 1u);
    EXPECT_EQ(limiter.admit(failureOf(8, 2 * kMinute - 1)), std::nullopt);
    EXPECT_EQ(limiter.admit(failureOf(1024, 2 * kMinute - 1)), std::nullopt);
}

TEST(EventLimiter, AClockThatIsSetBackStartsAnew) {
    EventLimiter limiter;
    EXPECT_EQ(limiter.admit(failedStart(kMinute)), 0u);
    EXPECT_EQ(limiter.admit(failedStart(kMinute)), std::nullopt);
    EXPECT_EQ(limiter.admit(failedStart(kMinute - 1)), 1u);
    EXPECT_EQ(limiter.admit(failedStart(kMinute)), std::nullopt);
}

TEST(EventLimiter, OneEventAPrinterOutcomeAndMinute) {
    EventLimiter limiter;
    EXPECT_EQ(limiter.admit(failedStart(0)), 0u);
    EXPECT_EQ(limiter.admit(failedStart(1)), std::nullopt);
    EXPECT_EQ(limiter.admit(failedStart(kMinute - 1)), std::nullopt);
    DeliveryEntry other = failedStart(1);
    other.outcome = DeliveryOutcome::incomplete;
    EXPECT_EQ(limiter.admit(other), 0u);
    other.printer = "ipp://b";
    EXPECT_EQ(limiter.admit(other), 0u);
    EXPECT_EQ(limiter.admit(failedStart(kMinute)), 2u);
    EXPECT_EQ(limiter.admit(failedStart(kMinute + 1)), std::nullopt);
    EXPECT_EQ(limiter.admit(failedStart(3 * kMinute)), 1u);
}

}  // namespace
}  // namespace velmora
