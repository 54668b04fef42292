#include <gtest/gtest.h>

#include <cstdint>

extern "C" std::uintptr_t __stack_chk_guard;

namespace velmora {
namespace {

// That a function which writes beyond its array ends the process is not tested here: under Wine the
// end of such a process is told late or never to whoever waits for it.
TEST(StackGuard, IsChosenAtTheStart) {
    EXPECT_NE(__stack_chk_guard, 0u);
    EXPECT_EQ(__stack_chk_guard & 0xFF, 0u) << "ends texts";
}

}  // namespace
}  // namespace velmora
