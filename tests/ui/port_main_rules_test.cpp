#include "ui/port_main_rules.h"
#include "port/port_config.h"

#include <gtest/gtest.h>

#include "directory/groups_db.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

using Ids = std::vector<std::uint32_t>;

TEST(CheckedGroups, KeepTheOrderOfTickingWithoutRepeats) {
    CheckedGroups groups;
    groups.assign({7, 2, 7, 5, 2});
    EXPECT_EQ(groups.ids(), (Ids{7, 2, 5}));
    groups.change(7, true);
    EXPECT_EQ(groups.ids(), (Ids{2, 5, 7})) << "ticked again, at the end";
    groups.change(5, false);
    groups.change(99, false);
    groups.change(0xFFFFFFFF, true);
    EXPECT_EQ(groups.ids(), (Ids{2, 7, 0xFFFFFFFF}));
    EXPECT_TRUE(groups.contains(7));
    EXPECT_FALSE(groups.contains(5));
}

TEST(CheckedGroups, AnotherAssignmentReplacesAll) {
    CheckedGroups groups;
    groups.assign({1, 2, 3});
    groups.assign({3, 4});
    EXPECT_EQ(groups.ids(), (Ids{3, 4}));
    EXPECT_FALSE(groups.contains(1));
    groups.assign({});
    EXPECT_EQ(groups.ids(), Ids{});
    EXPECT_FALSE(groups.contains(4));
}

// Searching the list at every tick would take minutes.
TEST(CheckedGroups, AreTickedByTheHundredThousand) {
    constexpr std::uint32_t kGroups = 500'000;
    CheckedGroups groups;
    for (std::uint32_t id = 1; id <= kGroups; ++id)
        groups.change(id, true);
    for (std::uint32_t id = kGroups; id > 2; --id)
        groups.change(id, false);
    groups.change(1, true);
    EXPECT_EQ(groups.ids(), (Ids{2, 1}));
}

TEST(CheckedGroups, LoseWhatTheDirectoryNoLongerHasAsAGroup) {
    CGroupsDB directory;
    const auto group = directory.AddGroup("G", 1)->id;
    const auto printer = directory.AddPrinter("P", {"ipp://p", false, "", ""}, group)->id;
    const auto other = directory.AddGroup("H", 1)->id;
    CheckedGroups groups;
    groups.assign({other, printer, 77, group});
    groups.keepGroupsOf(directory);
    EXPECT_EQ(groups.ids(), (Ids{other, group}));
    directory.DeleteNode(other);
    groups.keepGroupsOf(directory);
    EXPECT_EQ(groups.ids(), Ids{group});
}

TEST(PortMainRules, ControlsFollowModeAndAuthentication) {
    const auto letters = [](bool single, bool authentication) {
        const PortMainControls usable = usableControls(single, authentication);
        return std::string(usable.url ? "u" : "") + (usable.credentials ? "c" : "") +
               (usable.groups ? "g" : "");
    };
    EXPECT_EQ(letters(true, true), "uc");
    EXPECT_EQ(letters(true, false), "u");
    EXPECT_EQ(letters(false, true), "g");
    EXPECT_EQ(letters(false, false), "g");
}

TEST(PortMainRules, NameMustBeNewByteForByte) {
    const std::vector<std::string> existing = {"LPT1:", "IPP1", ""};
    EXPECT_EQ(checkPortName("", existing), (Refusal{IDS_PORT_NAME_MISSING, IDC_PORT_NAME}));
    EXPECT_EQ(checkPortName("IPP1", existing), (Refusal{IDS_PORT_NAME_USED, IDC_PORT_NAME}));
    for (const char* name : {"ipp1", "IPP", "IPP11", " IPP1", "\xE4"})
        EXPECT_EQ(checkPortName(name, existing), std::nullopt) << name;
    EXPECT_EQ(checkPortName("IPP1", {}), std::nullopt);
}

TEST(PortMainRules, OnlyASinglePrinterNeedsAUrl) {
    int asked = 0;
    const auto refuseAll = [&](const std::string&) {
        ++asked;
        return false;
    };
    PortMainData data;
    EXPECT_EQ(checkTarget(data, refuseAll), (Refusal{IDS_URL_MISSING, IDC_PORT_URL}));
    EXPECT_EQ(asked, 0);
    data.printer.url = "x";
    EXPECT_EQ(checkTarget(data, refuseAll),
              (Refusal{IDS_URL_INVALID, IDC_PORT_URL, MessageIcon::error}));
    EXPECT_EQ(checkTarget(data, [](const std::string& url) { return url == "x"; }), std::nullopt);
    data.mode = kMultiRemote;
    EXPECT_EQ(checkTarget(data, refuseAll), std::nullopt);
    EXPECT_EQ(asked, 1);
}

TEST(PortMainRules, RowsAreAllGroupsByIdWithTheirPrinters) {
    CGroupsDB directory;
    const auto outer = directory.AddGroup("outer", 1)->id;
    const auto inner = directory.AddGroup("", outer)->id;
    directory.AddPrinter("P", {"ipp://p", false, "", ""}, inner);
    directory.AddPrinter("Q", {"ipp://q", false, "", ""}, outer);
    EXPECT_EQ(groupRows(directory), (std::vector<GroupRow>{{outer, "outer", 2}, {inner, "", 1}}));
    EXPECT_TRUE(groupRows(CGroupsDB()).empty());
}

TEST(PortMainRules, RowsOfADeepDirectoryAreCountedInOnePass) {
    constexpr std::uint32_t kDepth = 100'000;
    CGroupsDB chain;
    std::uint32_t parent = 1;
    for (std::uint32_t level = 0; level < kDepth; ++level)
        parent = chain.AddGroup("g", parent)->id;
    chain.AddPrinter("P", {"ipp://p", 0, "", ""}, parent);
    const std::vector<GroupRow> rows = groupRows(chain);
    ASSERT_EQ(rows.size(), kDepth);
    EXPECT_EQ(rows.front().printers, 1u);
    EXPECT_EQ(rows.back().printers, 1u);
}

TEST(PortMainRules, AModeThatIsNeitherStoresNoUrlAndChecksNone) {
    const PortMainData data{.mode = -1, .name = "", .printer = {"x", 1, "u", "p"}};
    EXPECT_EQ(checkTarget(data, [](const std::string&) { return false; }), std::nullopt);
    PortConfig config;
    storePageData(data, {4}, config);
    PortConfig expected;
    expected.targetIds = {4};
    EXPECT_EQ(config, expected);
}

TEST(PortMainRules, ThePatternIsThePrinterThatWasTypedInWhateverTheMode) {
    CGroupsDB directory;
    directory.SetPortPrinter("Other", {"ipp://other", 0, "", ""});
    PortMainData data{.mode = kMultiRemote, .name = "P", .printer = {"ipp://p", 1, "u", "pw"}};
    storePattern(data, directory);
    ASSERT_EQ(directory.portPrinters().size(), 2u);
    EXPECT_EQ(directory.portPrinters().at("P")->address, data.printer);
    data.printer.url.clear();
    storePattern(data, directory);
    EXPECT_EQ(directory.portPrinters().count("P"), 0u) << "no URL, no pattern";
    EXPECT_EQ(directory.portPrinters().count("Other"), 1u);
    data.name = "Other";
    removePattern(data, directory);
    EXPECT_TRUE(directory.portPrinters().empty());
}

TEST(PortMainRules, RecordTravelsToThePageAndBack) {
    PortConfig config;
    config.name = "P";
    config.singleTarget = 1;
    config.printer.url = "ipp://p";
    config.printer.useAuthentication = 1;
    config.printer.userName = "u";
    config.printer.password = "pw";
    PortConfig stored;
    stored.jobTemplate.copies = 9;
    storePageData(pageData(config), {4, 2}, stored);
    config.jobTemplate.copies = 9;
    EXPECT_EQ(stored, config) << "a single printer has no groups, and the rest is left alone";
    config.singleTarget = 7;
    EXPECT_EQ(pageData(config).mode, kSinglePrinter) << "any value but 0 is true";
}

TEST(PortMainRules, WhatTheModeHasNoUseForComesBackEmpty) {
    const PortMainData data{
        .mode = kMultiRemote, .name = "P", .printer = {"ipp://p", 1, "u", "pw"}};
    PortConfig multi;
    storePageData(data, {4, 2}, multi);
    PortConfig expected;
    expected.name = "P";
    expected.targetIds = {4, 2};
    EXPECT_EQ(multi, expected);

    PortMainData single = data;
    single.mode = kSinglePrinter;
    single.printer.useAuthentication = 0;
    PortConfig anonymous;
    storePageData(single, {4, 2}, anonymous);
    expected = PortConfig();
    expected.name = "P";
    expected.singleTarget = 1;
    expected.printer.url = "ipp://p";
    EXPECT_EQ(anonymous, expected);
}

}  // namespace
}  // namespace velmora
