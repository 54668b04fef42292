#include "velmoractl/printer_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <future>
#include <stdexcept>

#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

using ::testing::HasSubstr;

constexpr std::chrono::seconds kAmple{100};

TEST(RunBounded, WaitsForWhatEndsInTime) {
    const auto ran = std::make_shared<bool>(false);
    EXPECT_TRUE(runBounded([ran] { *ran = true; }, kAmple));
    EXPECT_TRUE(*ran);
}

TEST(RunBounded, LeavesBehindWhatDoesNot) {
    std::promise<void> release;
    EXPECT_FALSE(runBounded([released = release.get_future().share()] { released.wait(); },
                            std::chrono::seconds(0)));
    release.set_value();
}

TEST(RunBounded, HandsFailuresOn) {
    EXPECT_THROW(runBounded([] { throw std::runtime_error("memory"); }, kAmple),
                 std::runtime_error);
}

TEST(SystemError, OnlyMissingRightsAskForAnAdministrator) {
    const CommandError denied = systemError("it", ERROR_ACCESS_DENIED, "try again");
    EXPECT_EQ(denied.code(), ExitCode::accessDenied);
    EXPECT_THAT(denied.what(), HasSubstr("run the command as administrator"));
    const CommandError other = systemError("it", ERROR_FILE_NOT_FOUND, "try again");
    EXPECT_EQ(other.code(), ExitCode::failed);
    EXPECT_THAT(other.what(), HasSubstr("(error 2); try again"));
}

}  // namespace
}  // namespace velmora::ctl
