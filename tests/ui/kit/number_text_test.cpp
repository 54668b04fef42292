#include "ui/kit/number_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace velmora {
namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

TEST(ParseNumber, TakesDigitsWithSignAndBlanksAround) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"0", 0},
        {"007", 7},
        {"100", 100},
        {"  42\t", 42},
        {"-5", -5},
        {"+5", 5},
        {"-0", 0},
        {"2147483648", 2147483648},
        {"99999999999", 99999999999},
        {"9223372036854775808", kLargest},
        {"-9223372036854775809", -kLargest},
    };
    for (const auto& [text, number] : cases)
        EXPECT_EQ(parseNumber(text), number) << text;
    EXPECT_EQ(parseNumber(std::string(32000, '9')), kLargest);
}

TEST(ParseNumber, RefusesEverythingElse) {
    for (const char* text : {"", " ", "\t", "abc", "1a", "1 2", "- 5", "--5", "+-5", "-", "+",
                             "1.5", "0x10", "1,000", "\xB2", "5\xA0"})
        EXPECT_EQ(parseNumber(text), std::nullopt) << text;
}

TEST(FormatNumbers, FillsPlaceholdersWhereverTheTranslatorPutThem) {
    EXPECT_EQ(formatNumbers("Please enter an integer between %1!d! and %2!d!.", {1, 100}),
              "Please enter an integer between 1 and 100.");
    EXPECT_EQ(formatNumbers("%2!d! >= x >= %1!d!", {1, 2147483647}), "2147483647 >= x >= 1");
    EXPECT_EQ(formatNumbers("%1!d!%1!d!", {-7, 0}), "-7-7");
    EXPECT_EQ(formatNumbers("no number at all", {1, 100}), "no number at all");
    EXPECT_EQ(formatNumbers("", {1, 100}), "");
    EXPECT_EQ(formatNumbers("100%%n%nB\xE9", {1, 100}), "100%n\nB\xE9");
    EXPECT_EQ(formatNumbers(std::string(2000, 'x') + "%2!d!", {1, 2}),
              std::string(2000, 'x') + "2");
}

TEST(FormatNumbers, RefusesPlaceholdersThatWouldReadOtherArguments) {
    for (const char* text : {"%s%n", "%1", "%1!s!", "%1!d", "%1!", "%3!d!", "%0!d!", "%d", "50 %",
                             "%", "%12!d!", "%!d!", "% 1!d!", "%1!lu!"})
        EXPECT_EQ(formatNumbers(text, {1, 100}), std::nullopt) << text;
}

}  // namespace
}  // namespace velmora
