#include "ipp/page_ranges.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "harness/page_ranges_model.h"

namespace velmora::testing {
namespace {

constexpr std::uint32_t kHighest = 4294967295;

std::string textOf(const PageRanges& pages) {
    std::string text;
    for (const PageRanges::Range& range : pages.ranges()) {
        text += (text.empty() ? "" : " ") + std::to_string(range.lower) + "-" +
                std::to_string(range.upper);
    }
    return text;
}

std::string parsed(std::string_view text) {
    return textOf(PageRanges(text));
}

std::string normalised(std::string_view text) {
    PageRanges pages(text);
    pages.normalise();
    return textOf(pages);
}

TEST(PageRanges, RangesStandInTheOrderOfTheText) {
    EXPECT_EQ(parsed("3-5,1-2"), "3-5 1-2");
    EXPECT_EQ(parsed("7"), "7-7");
    EXPECT_EQ(parsed("0"), "0-0");
    EXPECT_EQ(parsed("5-5"), "5-5");
    EXPECT_EQ(parsed("0007"), "7-7");
    EXPECT_EQ(parsed("1,1,1"), "1-1 1-1 1-1");
}

TEST(PageRanges, SpacesMayStandAroundEveryPart) {
    EXPECT_EQ(parsed("  1  -  3  ,  5  "), "1-3 5-5");
    EXPECT_EQ(parsed("1 - 3 , 5"), "1-3 5-5");
}

TEST(PageRanges, CommaMayEndTheText) {
    EXPECT_EQ(parsed("1-3,"), "1-3");
    EXPECT_EQ(parsed("1, "), "1-1");
}

TEST(PageRanges, HighestNumberIsTheLastOf32Bits) {
    EXPECT_EQ(parsed("4294967295"), "4294967295-4294967295");
    EXPECT_EQ(parsed("2147483648"), "2147483648-2147483648");
    EXPECT_EQ(parsed(std::string(1 << 20, '0') + "9"), "9-9");
}

TEST(PageRanges, ParsingWithoutAnExceptionGivesTheSame) {
    const std::optional<PageRanges> pages = PageRanges::parse(" 7 - 9 , 3,");
    ASSERT_TRUE(pages);
    EXPECT_EQ(textOf(*pages), parsed(" 7 - 9 , 3,"));
}

TEST(PageRanges, MalformedTextsThrow) {
    const std::string_view texts[] = {"",
                                      " ",
                                      "    ",
                                      "\t",
                                      "1\t",
                                      "1\t,2",
                                      "\n",
                                      "a",
                                      "1a",
                                      "1,b",
                                      "1,,3",
                                      ",1",
                                      ",",
                                      " , ",
                                      "1-",
                                      "1- ",
                                      "-5",
                                      "5-2",
                                      "1-3-5",
                                      "1 2",
                                      "1-2 3",
                                      "--",
                                      "1--2",
                                      "1-,2",
                                      "+1",
                                      "1;2",
                                      "1.5",
                                      "4294967296",
                                      "4294967295-4294967296",
                                      "18446744073709551616",
                                      "18446744073709551617",
                                      "99999999999999999999999999",
                                      "1, ,2",
                                      "\xE4",
                                      "1\xB2",
                                      "\xFF",
                                      "1-\2402",
                                      std::string_view("1\0", 2),
                                      std::string_view("\0", 1),
                                      std::string_view("1,\0", 3)};
    for (const std::string_view text : texts) {
        EXPECT_THROW(PageRanges{text}, PageRanges::ParseErrorException) << '"' << text << '"';
        EXPECT_FALSE(PageRanges::parse(text)) << '"' << text << '"';
    }
    EXPECT_THROW(PageRanges{std::string(1 << 20, '1')}, PageRanges::ParseErrorException);
}

TEST(PageRangesNormalise, OverlappingAndTouchingRangesBecomeOne) {
    EXPECT_EQ(normalised("3-5,1-2"), "1-5");
    EXPECT_EQ(normalised("1-10, 2-3"), "1-10");
    EXPECT_EQ(normalised("1-3,3-5"), "1-5");
    EXPECT_EQ(normalised("7,7,7"), "7-7");
    EXPECT_EQ(normalised("1-2,4-5,3"), "1-5");
}

TEST(PageRangesNormalise, RangesWithAGapStayApart) {
    EXPECT_EQ(normalised("10-12,1-3,7"), "1-3 7-7 10-12");
    EXPECT_EQ(normalised("1,3"), "1-1 3-3");
}

TEST(PageRangesNormalise, PageAfterTheHighestIsNotPageZero) {
    EXPECT_EQ(normalised("1-4294967295,2"), "1-4294967295");
    EXPECT_EQ(normalised("4294967295,1"), "1-1 4294967295-4294967295");
    EXPECT_EQ(normalised("0,4294967295"), "0-0 4294967295-4294967295");
    EXPECT_EQ(normalised("5-4294967295,4294967295,7"), "5-4294967295");
    EXPECT_EQ(normalised("4294967294,4294967295"), "4294967294-4294967295");
}

TEST(PageRangesNormalise, BoundsCompareUnsigned) {
    EXPECT_EQ(normalised("2147483648-4294967295,2147483647"), "2147483647-4294967295");
    EXPECT_EQ(normalised("2147483650,1"), "1-1 2147483650-2147483650");
}

TEST(PageRangesNormalise, OneRangeAndTwiceNormalisedStayAsTheyAre) {
    PageRanges pages("9,1-3,4");
    pages.normalise();
    pages.normalise();
    EXPECT_EQ(textOf(pages), "1-4 9-9");
}

/// `count` single pages with gaps between, in the order that `numberAt` gives.
template <class NumberAt>
void expectAscending(std::uint32_t count, std::uint32_t distinct, NumberAt numberAt) {
    std::string text;
    for (std::uint32_t i = 0; i < count; ++i)
        text += std::to_string(numberAt(i) * 2) + ",";
    PageRanges pages(text);
    ASSERT_EQ(pages.ranges().size(), count);
    pages.normalise();
    ASSERT_EQ(pages.ranges().size(), distinct);
    for (std::uint32_t i = 0; i + 1 < distinct; ++i) {
        ASSERT_LT(pages.ranges()[i].upper + 1, pages.ranges()[i + 1].lower);
    }
}

TEST(PageRangesNormalise, ManyRangesInBadOrdersEndQuickly) {
    constexpr std::uint32_t kCount = 100000;
    expectAscending(kCount, kCount, [](std::uint32_t i) { return kCount - i; });
    expectAscending(kCount, 1, [](std::uint32_t) { return 5u; });
    expectAscending(kCount, kCount / 2,
                    [](std::uint32_t i) { return i < kCount / 2 ? i : kCount - 1 - i; });
}

TEST(PageRangesNormalise, SixteenAndSeventeenRangesAreSortedAlike) {
    for (std::uint32_t count = 1; count <= 20; ++count) {
        expectAscending(count, count, [=](std::uint32_t i) { return (i * 23) % count + 1; });
    }
}

ModelRanges rangesOf(const PageRanges& pages) {
    ModelRanges ranges;
    for (const PageRanges::Range& range : pages.ranges()) {
        ranges.emplace_back(range.lower, range.upper);
    }
    return ranges;
}

/// False, with the text reported, if the parser or the normal form differs from the model.
bool agreesWithModel(const std::string& text) {
    const std::optional<ModelRanges> model = modelParse(text);
    try {
        PageRanges pages(text);
        EXPECT_TRUE(model.has_value()) << '"' << text << '"';
        if (!model) return false;
        EXPECT_EQ(rangesOf(pages), *model) << '"' << text << '"';
        pages.normalise();
        EXPECT_EQ(rangesOf(pages), modelNormalised(*model)) << '"' << text << '"';
    } catch (const PageRanges::ParseErrorException&) {
        EXPECT_FALSE(model.has_value()) << '"' << text << '"';
    }
    return !::testing::Test::HasFailure();
}

TEST(PageRanges, EveryShortTextMeansWhatTheModelSays) {
    const std::string characters = " ,-019a";
    for (int length = 0; length <= 5; ++length) {
        std::string text(static_cast<std::size_t>(length), characters.front());
        for (;;) {
            if (!agreesWithModel(text)) return;
            std::size_t at = 0;  // the next text, as a counter does
            while (at < text.size() && text[at] == characters.back())
                text[at++] = characters.front();
            if (at == text.size()) break;
            text[at] = characters[characters.find(text[at]) + 1];
        }
    }
}

TEST(PageRanges, RandomListsMeanWhatTheModelSays) {
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        const std::uint32_t base = round % 3 == 0 ? 4294967230u : 0u;
        for (std::uint32_t count = 1 + random() % 40; count > 0; --count) {
            const std::uint32_t lower = base + random() % 60;
            text += std::to_string(lower);
            if (random() % 2 == 0) text += "-" + std::to_string(lower + random() % 6);
            text += ", ";
        }
        if (!agreesWithModel(text)) return;
    }
}

TEST(PageRanges, BoundsAreHeldUpperThenLower) {
    const PageRanges pages("0-4294967295");
    ASSERT_EQ(pages.ranges().size(), 1u);
    const auto [upper, lower] = pages.ranges()[0];
    EXPECT_EQ(upper, kHighest);
    EXPECT_EQ(lower, 0u);
}

}  // namespace
}  // namespace velmora::testing
