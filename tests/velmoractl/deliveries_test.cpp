#include "velmoractl/text/deliveries.h"

#include <gtest/gtest.h>

#include "port/delivery_record.h"

namespace velmora::ctl {
namespace {

DeliveryEntry sampleEntry() {
    DeliveryEntry entry;
    entry.time = 1795318061123;
    entry.port = "Floor 1";
    entry.job = 17;
    entry.document = "Report \"1\"";
    entry.printer = "ipp://printer.example/ipp/print";
    entry.targets = 2;
    entry.target = 1;
    entry.bytes = 4711;
    entry.outcome = DeliveryOutcome::accepted;
    entry.reason.ippStatus = 0;
    return entry;
}

DeliveryLine parsed(const DeliveryEntry& entry) {
    std::string line = deliveryLine(entry);
    line.pop_back();
    const auto result = parseDeliveryLine(line);
    EXPECT_TRUE(result) << line;
    return result.value_or(DeliveryLine());
}

TEST(DeliveryLines, WhatTheMonitorWritesIsRead) {
    const DeliveryLine line = parsed(sampleEntry());
    EXPECT_EQ(line.time, 1795318061123);
    EXPECT_EQ(line.port, "Floor 1");
    EXPECT_EQ(line.job, 17u);
    EXPECT_EQ(line.document, "Report \"1\"");
    EXPECT_EQ(line.printer, "ipp://printer.example/ipp/print");
    EXPECT_EQ(line.bytes, 4711u);
    EXPECT_TRUE(line.accepted());
    EXPECT_EQ(line.reason, "");
}

TEST(DeliveryLines, ReasonsAreInWords) {
    const auto reason = [](DeliveryOutcome outcome, const DeliveryReason& why) {
        DeliveryEntry entry = sampleEntry();
        entry.outcome = outcome;
        entry.reason = why;
        entry.errorText = "words";
        return parsed(entry).reason;
    };
    EXPECT_EQ(reason(DeliveryOutcome::notReached, {DeliveryStep::connect, 12029, 0, {}}),
              "no connection, words (error 12029)");
    EXPECT_EQ(reason(DeliveryOutcome::notReached, {DeliveryStep::authenticate, 1223, 401, {}}),
              "user name or password not accepted, HTTP status 401, words (error 1223)");
    EXPECT_EQ(reason(DeliveryOutcome::notReached, {DeliveryStep::resolve, 0, 0, {}}),
              "the port reaches no printer");
    EXPECT_EQ(reason(DeliveryOutcome::refused, {DeliveryStep::answer, 0, 0, 0x040B}),
              "client-error-attributes-or-values-not-supported");
    EXPECT_EQ(reason(DeliveryOutcome::refused, {DeliveryStep::answer, 0, 0, 0x1234}),
              "IPP status 4660");
    EXPECT_EQ(reason(DeliveryOutcome::noAnswer, {DeliveryStep::answer, 0, 500, {}}),
              "HTTP status 500");
    EXPECT_EQ(reason(DeliveryOutcome::noAnswer, {DeliveryStep::answer, 0, 0, {}}),
              "no usable answer");
    EXPECT_EQ(reason(DeliveryOutcome::incomplete, {DeliveryStep::send, 10054, 0, {}}),
              "the connection broke, words (error 10054)");
    EXPECT_EQ(reason(DeliveryOutcome::abandoned, {}), "the spooler never ended the job");
}

TEST(DeliveryLines, ALineIsReadFieldByField) {
    const std::string text =
        R"({"time":"2026-11-22T03:27:41.123Z","port":"P","job":7,"document":"d","cut":true,)"
        R"("user":"clerk","printer":"ipp://p/","targets":3,"target":2,"outcome":"no-answer",)"
        R"("bytes":9,"repeats":4,"step":"later"})";
    const auto line = parseDeliveryLine(text);
    ASSERT_TRUE(line);
    EXPECT_EQ(line->raw, text);
    EXPECT_EQ(line->time, 1795318061123);
    EXPECT_EQ(line->port, "P");
    EXPECT_EQ(line->job, 7u);
    EXPECT_EQ(line->document, "d");
    EXPECT_TRUE(line->cut);
    EXPECT_EQ(line->user, "clerk");
    EXPECT_EQ(line->printer, "ipp://p/");
    EXPECT_EQ(line->targets, 3u);
    EXPECT_EQ(line->target, 2u);
    EXPECT_EQ(line->outcome, "no-answer");
    EXPECT_EQ(line->bytes, 9u);
    EXPECT_EQ(line->repeats, 4u);
    EXPECT_EQ(line->reason, "later") << "a step that only a newer monitor knows";
}

TEST(DeliveryLines, EachOfFourFieldsIsNeeded) {
    const char* const fields[] = {R"("time":"2026-11-22T03:27:41.123Z")", R"("port":"P")",
                                  R"("printer":"ipp://p/")", R"("outcome":"accepted")"};
    for (std::size_t missing = 0; missing <= std::size(fields); ++missing) {
        std::string text;
        for (std::size_t i = 0; i < std::size(fields); ++i) {
            if (i != missing) text += (text.empty() ? "{" : ",") + std::string(fields[i]);
        }
        EXPECT_EQ(parseDeliveryLine(text + "}").has_value(), missing == std::size(fields)) << text;
    }
}

TEST(DeliveryLines, DamagedOnesAreNotRead) {
    const std::string whole = deliveryLine(sampleEntry());
    for (std::size_t length = 0; length + 2 < whole.size(); ++length)
        EXPECT_FALSE(parseDeliveryLine(whole.substr(0, length)));
    EXPECT_FALSE(parseDeliveryLine("[]"));
    EXPECT_FALSE(parseDeliveryLine("{}"));
    EXPECT_FALSE(parseDeliveryLine(R"({"time":1,"port":"P","printer":"x","outcome":"accepted"})"));
    EXPECT_FALSE(parseDeliveryLine("{\"time\":\"\xff\"}"));
}

TEST(DeliveryFilters, TakeWhatTheyAreFor) {
    const DeliveryLine line = parsed(sampleEntry());
    EXPECT_TRUE(DeliveryFilter().takes(line));
    const auto takes = [&](auto set) {
        DeliveryFilter filter;
        set(filter);
        return filter.takes(line);
    };
    EXPECT_TRUE(takes([](auto& f) { f.port = "Floor 1"; }));
    EXPECT_FALSE(takes([](auto& f) { f.port = "floor 1"; }));
    EXPECT_TRUE(takes([](auto& f) { f.printer = "printer.example"; }));
    EXPECT_FALSE(takes([](auto& f) { f.printer = "other"; }));
    EXPECT_TRUE(takes([](auto& f) { f.job = 17; }));
    EXPECT_FALSE(takes([](auto& f) { f.job = 18; }));
    EXPECT_FALSE(takes([](auto& f) { f.failed = true; }));
    EXPECT_TRUE(takes([](auto& f) { f.since = 1795318061123; }));
    EXPECT_FALSE(takes([](auto& f) { f.since = 1795318061124; }));
}

constexpr std::int64_t kNow = 1795318061123;
std::int64_t twoHoursEast(std::int64_t local) {
    return local - 2 * 3600 * 1000;
}

TEST(Since, IsATimeAgoOrALocalDay) {
    EXPECT_EQ(parseSince("90s", kNow, twoHoursEast), kNow - 90000);
    EXPECT_EQ(parseSince("30m", kNow, twoHoursEast), kNow - 1800000);
    EXPECT_EQ(parseSince("2h", kNow, twoHoursEast), kNow - 7200000);
    EXPECT_EQ(parseSince("7d", kNow, twoHoursEast), kNow - 604800000);
    EXPECT_EQ(parseSince("2026-11-22", kNow, twoHoursEast),
              parseUtcTime("2026-11-21T22:00:00.000Z"));
    EXPECT_EQ(parseSince("2026-11-22 14:30", kNow, twoHoursEast),
              parseUtcTime("2026-11-22T12:30:00.000Z"));
    for (const char* bad : {"", "h", "2", "2x", "-2h", "2hh", "2026-13-01", "2026-02-30",
                            "2026-11-22 24:00", "99999999999h", "2026-1-1", " 2h"})
        EXPECT_FALSE(parseSince(bad, kNow, twoHoursEast)) << bad;
}

TEST(Since, EndsWhereItsTextEnds) {
    const std::string_view longer = "2026-11-22x 15m";
    EXPECT_EQ(parseSince(longer.substr(0, 10), kNow, twoHoursEast),
              parseUtcTime("2026-11-21T22:00:00.000Z"));
    EXPECT_EQ(parseSince(longer.substr(12), kNow, twoHoursEast), kNow - 15 * 60 * 1000);
    EXPECT_FALSE(parseSince(longer.substr(12, 2), kNow, twoHoursEast));
}

TEST(Times, EveryFieldHasItsBounds) {
    EXPECT_EQ(timeText(*parseUtcTime("2019-09-09T23:59:59.999Z")), "2019-09-09 23:59:59");
    EXPECT_EQ(*parseUtcTime("2016-12-31T23:59:60.000Z"), *parseUtcTime("2017-01-01T00:00:00.000Z"))
        << "a leap second";
    for (const char* bad :
         {"2026-11-22T24:00:00.000Z", "2026-11-22T00:60:00.000Z", "2026-11-22T00:00:61.000Z",
          "2026-00-22T00:00:00.000Z", "2026-11-31T00:00:00.000Z", "2026-11-2/T00:00:00.000Z",
          "2026-11-2:T00:00:00.000Z", "2026-11-22T00:00:00.000z", ""})
        EXPECT_FALSE(parseUtcTime(bad)) << bad;
}

TEST(Times, AreReadAndShown) {
    EXPECT_EQ(parseUtcTime("2026-11-22T03:27:41.123Z"), 1795318061123);
    EXPECT_EQ(timeText(1795318061123), "2026-11-22 03:27:41");
    EXPECT_FALSE(parseUtcTime("2026-11-22T03:27:41.123"));
    EXPECT_FALSE(parseUtcTime("2026-11-22 03:27:41.123Z"));
    EXPECT_FALSE(parseUtcTime("2026-02-30T03:27:41.123Z"));
}

TEST(Summaries, CountByPortAndPrinter) {
    DeliverySummaries summaries;
    DeliveryEntry entry = sampleEntry();
    addToSummary(summaries, parsed(entry));
    entry.outcome = DeliveryOutcome::refused;
    addToSummary(summaries, parsed(entry));
    entry.outcome = DeliveryOutcome::notReached;
    addToSummary(summaries, parsed(entry));
    entry.repeats = 5;
    addToSummary(summaries, parsed(entry));
    entry.port = "Other";
    addToSummary(summaries, parsed(entry));
    ASSERT_EQ(summaries.size(), 2u);
    const DeliverySummary& one = summaries.begin()->second;
    EXPECT_EQ(one.accepted, 1u);
    EXPECT_EQ(one.refused, 1u);
    EXPECT_EQ(one.failed, 6u);
    EXPECT_EQ(one.lastSuccess, 1795318061123);
    EXPECT_EQ(summaries.rbegin()->second.lastSuccess, 0);
}

DeliveryEntry copyOf(std::uint32_t job, std::uint32_t target, DeliveryOutcome outcome) {
    DeliveryEntry entry = sampleEntry();
    entry.job = job;
    entry.target = target;
    entry.outcome = outcome;
    return entry;
}

TEST(JobCopies, AreThoseOfTheJob) {
    JobCopies copies("Floor 1", 17, "Report \"1\"");
    EXPECT_FALSE(copies.complete());
    copies.add(parsed(copyOf(17, 1, DeliveryOutcome::accepted)));
    EXPECT_FALSE(copies.complete());
    // Another job of the same port and name. A job without a number is identified by these two.
    copies.add(parsed(copyOf(18, 2, DeliveryOutcome::accepted)));
    EXPECT_FALSE(copies.complete());
    DeliveryEntry other = copyOf(0, 2, DeliveryOutcome::accepted);
    other.document = "Another";
    copies.add(parsed(other));
    other = copyOf(17, 2, DeliveryOutcome::accepted);
    other.port = "Floor 2";
    copies.add(parsed(other));
    EXPECT_FALSE(copies.complete());
    copies.add(parsed(copyOf(0, 2, DeliveryOutcome::refused)));
    EXPECT_TRUE(copies.complete());
    EXPECT_FALSE(copies.allAccepted());
    // The spooler has tried again.
    copies.add(parsed(copyOf(17, 2, DeliveryOutcome::accepted)));
    EXPECT_TRUE(copies.allAccepted());
    EXPECT_EQ(copies.lines().size(), 2u);
}

TEST(JobCopies, OfAJobThatReachesNoPrinterAreOneLine) {
    JobCopies copies("Floor 1", 17, "Report \"1\"");
    DeliveryEntry nobody = copyOf(17, 0, DeliveryOutcome::notReached);
    nobody.targets = 0;
    copies.add(parsed(nobody));
    EXPECT_TRUE(copies.complete());
    EXPECT_FALSE(copies.allAccepted());
}

TEST(JobCopies, OfAJobThatWasStartedAgainCountWithoutItsFirstLine) {
    JobCopies copies("Floor 1", 17, "Report \"1\"");
    DeliveryEntry nobody = copyOf(17, 0, DeliveryOutcome::notReached);
    nobody.targets = 0;
    copies.add(parsed(nobody));
    copies.add(parsed(copyOf(17, 1, DeliveryOutcome::accepted)));
    EXPECT_FALSE(copies.complete()) << "one of two";
    copies.add(parsed(copyOf(17, 2, DeliveryOutcome::accepted)));
    EXPECT_TRUE(copies.complete());
    EXPECT_FALSE(copies.allAccepted());
}

TEST(JobCopies, OfACutNameHaveItsBeginning) {
    JobCopies copies("Floor 1", 17, "Report");
    DeliveryLine line;
    line.port = "Floor 1";
    line.targets = line.target = 1;
    line.document = "Rep";
    copies.add(line);
    EXPECT_TRUE(copies.lines().empty()) << "another, shorter name";
    line.cut = true;
    line.document = "rep";
    copies.add(line);
    EXPECT_TRUE(copies.lines().empty());
    line.document = "Rep";
    copies.add(line);
    EXPECT_EQ(copies.lines().size(), 1u);
}

TEST(JobCopies, AreFoundThoughTheirNameWasCut) {
    const std::string name(5000, 'n');
    JobCopies copies("Floor 1", 17, name);
    DeliveryEntry entry = copyOf(0, 1, DeliveryOutcome::accepted);
    entry.targets = 1;
    entry.document = name;
    EXPECT_TRUE(parsed(entry).cut);
    copies.add(parsed(entry));
    EXPECT_TRUE(copies.allAccepted());
}

TEST(LineCutter, GivesWholeLinesWhateverThePieces) {
    const std::string text = "one\ntwo\n\nthree";
    for (std::size_t size = 1; size <= text.size(); ++size) {
        LineCutter cutter;
        std::vector<std::string> lines;
        for (std::size_t at = 0; at < text.size(); at += size) {
            for (std::string& line : cutter.feed(std::string_view(text).substr(at, size)))
                lines.push_back(std::move(line));
        }
        EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", ""}));
        EXPECT_EQ(cutter.rest(), "three");
    }
}

}  // namespace
}  // namespace velmora::ctl
