#include <gtest/gtest.h>

#include <cstdint>

extern "C" std::uintptr_t __stack_chk_guard;

namespace velmora {
namespace {

// tests/contract/images_test.cpp shows that the built functions use it.
TEST(StackGuard, IsChosenAtTheStart) {
    EXPECT_NE(__stack_chk_guard, 0u);
    EXPECT_EQ(__stack_chk_guard & 0xFF, 0u) << "ends texts";
}

}  // namespace
}  // namespace velmora
