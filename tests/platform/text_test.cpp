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

}  // namespace
}  // namespace velmora
