#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

extern "C" std::uintptr_t __stack_chk_guard;

namespace velmora {
namespace {

/// Writes `size` bytes to an array of eight.
[[gnu::noinline]] void writeBeyond(std::size_t size) {
    volatile char area[8];
    volatile char* at = area;
    for (std::size_t i = 0; i < size; ++i)
        at[i] = 'x';
}

TEST(StackGuard, IsChosenAtTheStart) {
    EXPECT_NE(__stack_chk_guard, 0u);
    EXPECT_EQ(__stack_chk_guard & 0xFF, 0u) << "ends texts";
}

TEST(StackGuardDeathTest, AFunctionThatWritesBeyondItsArrayEndsTheProcess) {
    writeBeyond(8);
    EXPECT_DEATH(writeBeyond(64), "");
}

}  // namespace
}  // namespace velmora
