// Makes the tests of a program print with prompt delivery.

#include <gtest/gtest.h>

#include "harness/printing.h"

namespace velmora {
namespace {

[[maybe_unused]] const bool prompt = [] {
    testing::connectionOptions().promptDelivery = true;
    return true;
}();

TEST(PromptDelivery, IsWhatTheseTestsPrintWith) {
    EXPECT_TRUE(testing::connectionOptions().promptDelivery);
}

}  // namespace
}  // namespace velmora
