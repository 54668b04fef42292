#include "velmoractl/text/shown_text.h"

#include <gtest/gtest.h>

namespace velmora::ctl {
namespace {

struct ShownCase {
    const char* name;
    std::string_view text;
    const char* shown;
};

class ShownText : public ::testing::TestWithParam<ShownCase> {};

TEST_P(ShownText, IsSafeForATerminal) {
    EXPECT_EQ(shown(GetParam().text), GetParam().shown);
}

using namespace std::string_view_literals;

const ShownCase kCases[] = {
    {"PlainTextStays", "Office 3 (A4)"sv, "Office 3 (A4)"},
    {"LettersOutsideAsciiStay", "Caf\xC3\xA9 \xE6\x97\xA5"sv, "Caf\xC3\xA9 \xE6\x97\xA5"},
    {"ATerminalEscape", "\x1b]0;title\x07\x1b[2J"sv, "\\x1b]0;title\\x07\\x1b[2J"},
    {"LineEndsAndTabs", "a\r\nb\tc"sv, "a\\x0d\\x0ab\\x09c"},
    {"Nul", "a\0b"sv, "a\\x00b"},
    {"Delete", "\x7f"sv, "\\x7f"},
    {"ControlSequenceIntroducerOfOneCharacter",
     "\xC2\x9B"
     "2J"sv,
     "\\u{9b}2J"},
    {"TurnedDirection",
     "gpj.\xE2\x80\xAE"
     "exe"sv,
     "gpj.\\u{202e}exe"},
    {"ZeroWidth",
     "a\xE2\x80\x8B"
     "b"sv,
     "a\\u{200b}b"},
    {"ABackslashCannotFakeAnEscape", "\\x1b"sv, "\\\\x1b"},
    {"BytesThatAreNoUtf8", "\xFF\xC0\x80\xE9t\xE9"sv, "\\xff\\xc0\\x80\\xe9t\\xe9"},
    {"ASurrogate", "\xED\xA0\x80"sv, "\\xed\\xa0\\x80"},
    {"ACharacterThatIsCut", "\xE6\x97"sv, "\\xe6\\x97"},
    {"BeyondTheLastCharacter", "\xF4\x90\x80\x80"sv, "\\xf4\\x90\\x80\\x80"},
};

INSTANTIATE_TEST_SUITE_P(Cases, ShownText, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ShownText, IsCutWhenItIsLongAndSaysSo) {
    EXPECT_EQ(shown(std::string(1000, 'x'), 10), std::string(10, 'x') + "... (1000 bytes)");
    EXPECT_EQ(shown(std::string(10, 'x'), 10), std::string(10, 'x'));
}

TEST(ShownText, QuotesInsideQuotesAreEscaped) {
    EXPECT_EQ(inQuotes("say \"no\""), "\"say \\\"no\\\"\"");
}

TEST(Utf8, ShorterFormsOfACharacterAreRefused) {
    EXPECT_TRUE(isUtf8(""));
    EXPECT_TRUE(isUtf8("\xF0\x9F\x96\xA8"));
    EXPECT_FALSE(isUtf8("\xC1\xBF"));
    EXPECT_FALSE(isUtf8("\xE0\x80\xAF"));
    EXPECT_FALSE(isUtf8("\x80"));
}

}  // namespace
}  // namespace velmora::ctl
