#include "velmoractl/text/fingerprint.h"

#include <gtest/gtest.h>

namespace velmora::ctl {
namespace {

const std::string kHex = "00112233445566778899AABBCCDDEEFF00112233445566778899AABBCCDDEEFF";

TEST(Fingerprint, IsTakenAsPeopleCopyIt) {
    EXPECT_EQ(fingerprintOf(kHex), kHex);
    EXPECT_EQ(fingerprintOf("00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff"),
              kHex);
    EXPECT_EQ(fingerprintOf(shownFingerprint(kHex)), kHex);
    EXPECT_EQ(fingerprintOf("0011 2233-4455:66778899AABBCCDDEEFF00112233445566778899AABBCCDDEEFF"),
              kHex);
}

TEST(Fingerprint, AnythingElseIsNone) {
    for (const std::string& text :
         {std::string(), kHex.substr(1), kHex + "0", kHex.substr(1) + "G", kHex.substr(0, 40),
          std::string("sha256:") + kHex, kHex.substr(1) + '\0'})
        EXPECT_EQ(fingerprintOf(text), std::nullopt) << text;
}

TEST(Fingerprint, IsWrittenInHexadecimalDigits) {
    const std::uint8_t bytes[] = {0x00, 0x0f, 0xf0, 0xab};
    EXPECT_EQ(hexText(bytes), "000FF0AB");
    EXPECT_EQ(shownFingerprint("000FF0AB"), "00:0F:F0:AB");
    EXPECT_EQ(shownFingerprint(""), "");
}

}  // namespace
}  // namespace velmora::ctl
