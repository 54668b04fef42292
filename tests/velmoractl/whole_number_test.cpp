#include "velmoractl/text/whole_number.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace velmora::ctl {
namespace {

TEST(WholeNumber, IsTheWholeText) {
    EXPECT_EQ(wholeNumber<std::uint32_t>("0"), 0u);
    EXPECT_EQ(wholeNumber<std::uint32_t>("007"), 7u);
    EXPECT_EQ(wholeNumber<std::uint32_t>("4294967295"), 4294967295u);
    EXPECT_EQ(wholeNumber<std::int64_t>("-12"), -12);
    EXPECT_EQ(wholeNumber<std::uint32_t>(std::string_view("1234").substr(1, 2)), 23u);
    for (const char* text : {"", "-", "-1", "+1", " 1", "1 ", "1x", "0x1", "1.0", "4294967296",
                             "99999999999999999999"})
        EXPECT_EQ(wholeNumber<std::uint32_t>(text), std::nullopt) << text;
    EXPECT_EQ(wholeNumber<std::uint16_t>("65536"), std::nullopt);
}

}  // namespace
}  // namespace velmora::ctl
