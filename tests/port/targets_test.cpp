#include "port/targets.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace velmora {
namespace {

// 1 "All groups": 2 "Floor": 4 "P4", 5 "Room": 6 "P6" (with credentials); 3 "Hall": 7 "P7"; 8
// empty.
class FloorPlan final : public GroupsStore {
  public:
    void load(CGroupsDB& directory) override {
        ++loads;
        directory.Clear();
        auto root = std::make_unique<CGroupsDBGroup>();
        root->id = 1;
        root->name = "All groups";
        directory.Insert(std::move(root));
        directory.AddGroup("Floor", 1);
        directory.AddGroup("Hall", 1);
        directory.AddPrinter("P4", "ipp://four/p", false, "", "", 2);
        directory.AddGroup("Room", 2);
        directory.AddPrinter("P6", "ipp://six/p", true, "user", "secret", 5);
        directory.AddPrinter("P7", "ipp://seven/p", false, "", "", 3);
        directory.AddGroup("Cellar", 1);
    }
    void save(const CGroupsDB&) override { ++saves; }

    int loads = 0;
    int saves = 0;
};

std::vector<std::string> urls(const std::vector<std::uint32_t>& ids) {
    FloorPlan store;
    PortConfig config;
    config.targetIds = ids;
    std::vector<std::string> urls;
    for (const PrintTarget& target : directoryTargets(config, store))
        urls.push_back(target.url);
    EXPECT_EQ(store.loads, 1);
    EXPECT_EQ(store.saves, 0);
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
    FloorPlan store;
    PortConfig config;
    config.targetIds = {5};
    EXPECT_EQ(directoryTargets(config, store),
              (std::vector<PrintTarget>{{"ipp://six/p", 1, "user", "secret"}}));
}

TEST(TargetResolution, SingleTargetIsThePortsOwnPrinterEvenWithoutAUrl) {
    PortConfig config;
    config.singleTarget = 1;
    EXPECT_EQ(ownTarget(config), PrintTarget{});
    config.printerUrl = "ipp://one/p";
    config.useAuthentication = 1;
    config.userName = "user";
    config.password = "secret";
    EXPECT_EQ(ownTarget(config), (PrintTarget{"ipp://one/p", 1, "user", "secret"}));
}

}  // namespace
}  // namespace velmora
