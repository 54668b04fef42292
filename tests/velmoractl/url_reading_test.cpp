#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "velmoractl/internet.h"

namespace velmora::ctl {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct Reading {
    const char* url;
    const char* host;
    unsigned port;
    const char* path;
    bool secure;
    const char* warning;  ///< part of one of the warnings; null: there is none
};

TEST(UrlReading, TellsWhatTheMonitorWillDo) {
    const Reading readings[] = {
        {"ipp://printer/ipp/print", "printer", 631, "/ipp/print", false, nullptr},
        {"https://printer:631/ipp/print", "printer", 631, "/ipp/print", true, nullptr},
        {"http://printer/ipp?a=b", "printer", 80, "/ipp?a=b", false, nullptr},
        {"printer/ipp", "printer", 631, "/ipp", false, "no scheme"},
        {"HTTPS://printer/ipp", "printer", 443, "/ipp", false, "without encryption"},
        {"ipps://printer/ipp", "printer", 631, "/ipp", false, "without encryption"},
        {"ipp://user:pw@printer/ipp", "printer", 631, "/ipp", false, "user name"},
        {"http://printer:99999/ipp", "printer", 34463, "/ipp", false, "99999 is not possible"},
        {"ipp://printer", "printer", 631, "", false, "no path"},
    };
    for (const Reading& one : readings) {
        const UrlReading reading = readUrl(one.url);
        EXPECT_TRUE(reading.usable) << one.url;
        EXPECT_EQ(reading.host, one.host) << one.url;
        EXPECT_EQ(reading.port, one.port) << one.url;
        EXPECT_EQ(reading.path, one.path) << one.url;
        EXPECT_EQ(reading.secure, one.secure) << one.url;
        if (one.warning == nullptr) {
            EXPECT_THAT(reading.warnings, IsEmpty()) << one.url;
        } else {
            EXPECT_THAT(reading.warnings, Contains(HasSubstr(one.warning))) << one.url;
        }
    }
}

TEST(UrlReading, AHostAndPortWithoutASchemeIsTakenForASchemeAndSaysSo) {
    const UrlReading reading = readUrl("printer:631/ipp/print");
    EXPECT_FALSE(reading.usable);
    EXPECT_THAT(reading.problem, HasSubstr("taken for the scheme"));
}

TEST(UrlReading, UnusableUrlsHaveAReason) {
    const std::string urls[] = {"", "http:///x", "http://" + std::string(128, 'h') + "/",
                                "http://h/" + std::string(600, 'p')};
    for (const std::string& url : urls) {
        const UrlReading reading = readUrl(url);
        EXPECT_FALSE(reading.usable) << url;
        EXPECT_FALSE(reading.problem.empty()) << url;
    }
}

}  // namespace
}  // namespace velmora::ctl
