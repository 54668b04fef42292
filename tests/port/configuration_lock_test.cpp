#include "port/configuration_lock.h"

#include <gtest/gtest.h>

#include <future>

namespace velmora {
namespace {

using std::chrono::milliseconds;

/// Whether another thread (which counts like another program) gets the lock at once.
bool isFree() {
    return std::async(std::launch::async, [] { return ConfigurationLock(milliseconds(0)).held(); })
        .get();
}

TEST(ConfigurationLock, OneHoldsItAtATime) {
    {
        const ConfigurationLock lock(milliseconds(0));
        ASSERT_TRUE(lock.held());
        EXPECT_FALSE(isFree());
    }
    EXPECT_TRUE(isFree());
}

TEST(ConfigurationLock, ItsHolderMayTakeItAgain) {
    const ConfigurationLock lock(milliseconds(0));
    {
        const ConfigurationLock again(milliseconds(0));
        EXPECT_TRUE(again.held());
    }
    EXPECT_FALSE(isFree());
}

TEST(ConfigurationLock, AThreadThatEndsWithItLeavesItToTheOthers) {
    std::thread([] {
        // Not released before the thread ends: no destructor runs.
        const ConfigurationLock* const lock =
            std::make_unique<ConfigurationLock>(milliseconds(0)).release();
        EXPECT_TRUE(lock->held());
    }).join();
    EXPECT_TRUE(isFree());
}

TEST(OpenDialogMark, ExistsAsLongAsADialog) {
    EXPECT_FALSE(OpenDialogMark::exists());
    {
        const OpenDialogMark one;
        {
            const OpenDialogMark other;
            EXPECT_TRUE(OpenDialogMark::exists());
        }
        EXPECT_TRUE(OpenDialogMark::exists());
    }
    EXPECT_FALSE(OpenDialogMark::exists());
}

}  // namespace
}  // namespace velmora
