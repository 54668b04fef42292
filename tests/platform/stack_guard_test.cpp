#include <gtest/gtest.h>

#include <cstdint>

extern "C" std::uintptr_t __stack_chk_guard;

namespace velmora {
namespace {

// That functions use it shows in the built files (tests/contract/images_test.cpp).
TEST(StackGuard, IsChosenAtTheStart) {
    EXPECT_NE(__stack_chk_guard, 0u);
    EXPECT_EQ(__stack_chk_guard & 0xFF, 0u) << "ends texts";
}

}  // namespace
}  // namespace velmora
