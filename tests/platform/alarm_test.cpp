#include "platform/alarm.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

TEST(Alarm, RingsWhenTheTimeIsOver) {
    const UniqueEvent rung(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    Alarm alarm(1, [&] { SetEvent(rung.get()); });
    EXPECT_EQ(WaitForSingleObject(rung.get(), 60000), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_TRUE(alarm.stop());
    EXPECT_TRUE(alarm.stop());
}

TEST(Alarm, StoppedInTimeItIsSilent) {
    bool rung = false;
    Alarm alarm(3600000, [&] { rung = true; });
    EXPECT_FALSE(alarm.stop());
    EXPECT_FALSE(rung);
}

/// After stopping it the objects that the function uses may be destroyed.
TEST(Alarm, StoppingWaitsForTheFunction) {
    for (int round = 0; round < 50; ++round) {
        const UniqueEvent begun(CreateEventA(nullptr, TRUE, FALSE, nullptr));
        bool ended = false;
        {
            Alarm alarm(0, [&] {
                SetEvent(begun.get());
                Sleep(1);
                ended = true;
            });
            ASSERT_EQ(WaitForSingleObject(begun.get(), 60000), static_cast<DWORD>(WAIT_OBJECT_0));
        }
        EXPECT_TRUE(ended);
    }
}

}  // namespace
}  // namespace velmora
