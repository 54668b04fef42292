#include "platform/escaped_text.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

TEST(EscapedText, LineEndsAndTabsAreStoredAsTwoCharacters) {
    EXPECT_EQ(escapeText("one\ntwo\r\tthree\\n"), "one\\ntwo\\r\\tthree\\n");
}

TEST(EscapedText, UnescapingTurnsThemBack) {
    EXPECT_EQ(unescapeText("one\\ntwo\\r\\tthree"), "one\ntwo\r\tthree");
}

TEST(EscapedText, OtherBackslashesStay) {
    EXPECT_EQ(unescapeText("C:\\dir\\x\\"), "C:\\dir\\x\\");
}

TEST(EscapedText, KeyHasNoAmpersands) {
    EXPECT_EQ(textKey("&User && name:"), "User  name:");
}

}  // namespace
}  // namespace velmora
