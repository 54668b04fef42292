#include "velmoractl/text/shown_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>

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

std::string utf8(std::uint32_t code) {
    const auto byte = [](std::uint32_t bits) { return static_cast<char>(bits); };
    const auto rest = [&](int shift) { return byte(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x80) return {byte(code)};
    if (code < 0x800) return {byte(0xC0 | code >> 6), rest(0)};
    if (code < 0x10000) return {byte(0xE0 | code >> 12), rest(6), rest(0)};
    return {byte(0xF0 | code >> 18), rest(12), rest(6), rest(0)};
}

TEST(ShownText, CharactersThatAreNotSeenAreNamed) {
    for (const std::uint32_t code : {0x80u, 0x9Fu, 0x200Bu, 0x200Fu, 0x2028u, 0x202Eu, 0x2060u,
                                     0x206Fu, 0xFEFFu, 0x61Cu, 0xE0000u, 0xE0FFFu}) {
        char name[16];
        std::snprintf(name, sizeof name, "\\u{%x}", code);
        EXPECT_EQ(shown("a" + utf8(code) + "b"), std::string("a") + name + "b");
    }
    for (const std::uint32_t code :
         {0xA0u, 0x200Au, 0x2010u, 0x2027u, 0x202Fu, 0x205Fu, 0x2070u, 0xFEFEu, 0xFF00u, 0x61Bu,
          0x61Du, 0xDFFFFu, 0xE1000u, 0x10FFFFu})
        EXPECT_EQ(shown(utf8(code)), utf8(code)) << std::hex << code;
}

TEST(Utf8, HasItsBounds) {
    for (const std::uint32_t code :
         {0u, 1u, 0x7Fu, 0x80u, 0x81u, 0x7FFu, 0x800u, 0x801u, 0x1000u, 0xD7FFu, 0xE000u, 0xFFFFu,
          0x10000u, 0x10001u, 0x40000u, 0xC0000u, 0x10FFFFu})
        EXPECT_TRUE(isUtf8("x" + utf8(code) + "x")) << std::hex << code;
    for (const std::uint32_t code : {0xD800u, 0xDBFFu, 0xDC00u, 0xDFFFu, 0x110000u})
        EXPECT_FALSE(isUtf8(utf8(code))) << std::hex << code;
    for (const char* const text :
         {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF8\x88\x80\x80\x80",
          "\xFF", "\xC3", "\xC3x", "\xE2\x82", "\xE2\x82x", "\xF0\x9F\x96", "\xC3\xC3"})
        EXPECT_FALSE(isUtf8(text));
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
