#include "platform/text.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

TEST(Text, AnsiAndWideRoundTripForEveryByte) {
    std::string ansi;
    // 0x81, 0x8D, 0x8F, 0x90, 0x9D have no character in code page 1252; the platform maps them to
    // control characters and back.
    for (int c = 1; c < 256; ++c)
        ansi += static_cast<char>(c);
    EXPECT_EQ(toAnsi(toWide(ansi)), ansi);
    EXPECT_EQ(toWide("\x80"), L"\u20AC");
}

TEST(Text, EmptyStaysEmpty) {
    EXPECT_EQ(toWide(""), L"");
    EXPECT_EQ(toAnsi(L""), "");
}

TEST(Text, CharactersOutsideTheCodePageBecomeTheDefaultCharacter) {
    EXPECT_EQ(toAnsi(L"a\u4E00b"), "a?b");
}

TEST(Text, ExactlyMeansNeitherLookAlikesNorTheDefaultCharacter) {
    EXPECT_EQ(toAnsiExactly(L"na\u00EFve \u20AC ?"), "na\xEFve \x80 ?");
    EXPECT_EQ(toAnsiExactly(L""), "");
    EXPECT_EQ(toAnsiExactly(L"a\u4E00b"), std::nullopt);
    EXPECT_EQ(toAnsiExactly(L"\u0101"), std::nullopt);  // a with a macron: "a" in 1252
    EXPECT_EQ(toAnsiExactly(L"\uFF41"), std::nullopt);  // full-width a
    EXPECT_EQ(toAnsiExactly(L"\U0001F5A8"), std::nullopt);
    EXPECT_EQ(toAnsiExactly(L"\xD83D"), std::nullopt);  // half of a pair
}

}  // namespace
}  // namespace velmora
