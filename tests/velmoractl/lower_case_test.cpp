#include "velmoractl/text/lower_case.h"

#include <gtest/gtest.h>

namespace velmora::ctl {
namespace {

TEST(LowerCase, ChangesTheLettersOfAsciiAlone) {
    EXPECT_EQ(lowerCase("@AMZ[`amz{09\xC3\x84"), "@amz[`amz{09\xC3\x84");
    EXPECT_EQ(lowerCase(""), "");
}

}  // namespace
}  // namespace velmora::ctl
