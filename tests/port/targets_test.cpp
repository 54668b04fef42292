#include "port/targets.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "directory/groups_db.h"
#include "harness/empty_directory.h"
#include "port/port_config.h"

namespace velmora {
namespace {

// 1 "All groups": 2 "Floor": 4 "P4", 5 "Room": 6 "P6" (with credentials); 3 "Hall": 7 "P7"; 8
// empty.
CGroupsDB floorPlan() {
    CGroupsDB directory = testing::emptyDirectory();
    directory.AddGroup("Floor", 1);
    directory.AddGroup("Hall", 1);
    directory.AddPrinter("P4", {"ipp://four/p", false, "", ""}, 2);
    directory.AddGroup("Room", 2);
    directory.AddPrinter("P6", {"ipp://six/p", true, "user", "secret"}, 5);
    directory.AddPrinter("P7", {"ipp://seven/p", false, "", ""}, 3);
    directory.AddGroup("Cellar", 1);
    return directory;
}

PortConfig portTo(const std::vector<std::uint32_t>& groups) {
    PortConfig config;
    config.targetIds = groups;
    return config;
}

std::vector<std::string> urls(const std::vector<std::uint32_t>& ids) {
    std::vector<std::string> urls;
    for (const PrintTarget& target : targetsOf(portTo(ids), floorPlan()))
        urls.push_back(target.url);
    return urls;
}

using Urls = std::vector<std::string>;

TEST(TargetResolution, GroupGivesEveryPrinterBelowIt) {
    EXPECT_EQ(urls({2}), (Urls{"ipp://four/p", "ipp://six/p"}));
    EXPECT_EQ(urls({1}), (Urls{"ipp://four/p", "ipp://six/p", "ipp://seven/p"}));
}

TEST(TargetResolution, PrinterReachedTwiceStandsAtItsFirstPlace) {
    EXPECT_EQ(urls({3, 1}), (Urls{"ipp://seven/p", "ipp://four/p", "ipp://six/p"}));
    EXPECT_EQ(urls({5, 2, 5}), (Urls{"ipp://six/p", "ipp://four/p"}));
}

TEST(TargetResolution, IdentifiersOfPrintersAndOfNothingAddNothing) {
    EXPECT_EQ(urls({4, 99, 0xFFFFFFFF}), Urls{});
    EXPECT_EQ(urls({4, 3}), Urls{"ipp://seven/p"});
    EXPECT_EQ(urls({8}), Urls{});
    EXPECT_EQ(urls({}), Urls{});
}

TEST(TargetResolution, DirectoryTargetCarriesThePrintersCredentials) {
    EXPECT_EQ(targetsOf(portTo({5}), floorPlan()),
              (std::vector<PrintTarget>{{"ipp://six/p", 1, "user", "secret"}}));
}

TEST(TargetResolution, SingleTargetIsThePortsOwnPrinterEvenWithoutAUrl) {
    PortConfig config = portTo({1});
    config.singleTarget = 1;
    EXPECT_EQ(targetsOf(config, floorPlan()), std::vector<PrintTarget>{PrintTarget{}});
    config.printer = {"ipp://one/p", 1, "user", "secret"};
    EXPECT_EQ(targetsOf(config, floorPlan()), std::vector<PrintTarget>{config.printer});
}

}  // namespace
}  // namespace velmora
