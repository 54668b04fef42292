#include "platform/escaped_text.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

bool singleBytes(unsigned char) {
    return false;
}

/// Code page 932. Its second bytes, and those of 936 and 950, may be 0x5C, a backslash.
bool japanese(unsigned char byte) {
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

TEST(EscapedText, LineEndsAndTabsAreStoredAsTwoCharacters) {
    EXPECT_EQ(escapeText("one\ntwo\r\tthree\\n"), "one\\ntwo\\r\\tthree\\n");
}

TEST(EscapedText, UnescapingTurnsThemBack) {
    EXPECT_EQ(unescapeText("one\\ntwo\\r\\tthree", &singleBytes), "one\ntwo\r\tthree");
}

TEST(EscapedText, OtherBackslashesStay) {
    EXPECT_EQ(unescapeText("C:\\dir\\x\\", &singleBytes), "C:\\dir\\x\\");
}

TEST(EscapedText, TheSecondByteOfACharacterIsNoBackslash) {
    const std::string reset = "\x8B@\x94\\reset";  // two characters, the second ends with 0x5C
    EXPECT_EQ(unescapeText(reset, &japanese), reset);
    EXPECT_EQ(unescapeText(reset + "\\n\x94\\\\t", &japanese), reset + "\n\x94\\\t");
    EXPECT_EQ(unescapeText(reset, &singleBytes), "\x8B@\x94\reset");
}

TEST(EscapedText, ALoneFirstByteAtTheEndStays) {
    EXPECT_EQ(unescapeText("a\x94", &japanese), "a\x94");
    EXPECT_EQ(unescapeText("a\\n\x94", &japanese), "a\n\x94");
}

TEST(EscapedText, KeyHasNoAmpersands) {
    EXPECT_EQ(textKey("&User && name:"), "User  name:");
}

}  // namespace
}  // namespace velmora
