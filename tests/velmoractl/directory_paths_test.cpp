#include "velmoractl/text/directory_paths.h"
#include "directory/groups_db.h"
#include "harness/empty_directory.h"

#include <gtest/gtest.h>

namespace velmora::ctl {
namespace {

class PathsOfNodes : public ::testing::Test {
  protected:
    PathsOfNodes() {
        floor_ = directory_.AddGroup("First floor", kRootGroup)->id;
        wing_ = directory_.AddGroup("Left", floor_)->id;
        sales_ = directory_.AddPrinter("Sales", {"ipp://p/", false, "", ""}, wing_)->id;
        slash_ = directory_.AddGroup("A/B", kRootGroup)->id;
    }

    std::uint32_t idOf(std::string_view path) const {
        const CGroupsDBNode* const node = findNode(directory_, path);
        return node == nullptr ? 0 : node->id;
    }

    CGroupsDB directory_ = testing::emptyDirectory();
    std::uint32_t floor_, wing_, sales_, slash_;
};

TEST_F(PathsOfNodes, NamesLeadFromTheRootDown) {
    EXPECT_EQ(idOf(""), kRootGroup);
    EXPECT_EQ(idOf("/"), kRootGroup);
    EXPECT_EQ(idOf("First floor"), floor_);
    EXPECT_EQ(idOf("/First floor/Left"), wing_);
    EXPECT_EQ(idOf("First floor/Left/Sales"), sales_);
    EXPECT_EQ(idOf("First floor/Right"), 0U);
    EXPECT_EQ(idOf("first floor"), 0U);
}

TEST_F(PathsOfNodes, ANumberReachesEveryNode) {
    EXPECT_EQ(idOf("#" + std::to_string(slash_)), slash_);
    EXPECT_EQ(idOf("#99"), 0U);
    EXPECT_EQ(idOf("#"), 0U);
    EXPECT_EQ(idOf("#1x"), 0U);
    EXPECT_EQ(idOf("#-1"), 0U);
}

TEST_F(PathsOfNodes, APathLeadsBackToItsNode) {
    for (const auto& [id, node] : directory_.nodes())
        EXPECT_EQ(idOf(pathOf(directory_, id)), id);
    EXPECT_EQ(pathOf(directory_, sales_), "First floor/Left/Sales");
    EXPECT_EQ(pathOf(directory_, slash_), "#" + std::to_string(slash_));
}

TEST_F(PathsOfNodes, ALongPathIsANumber) {
    const auto number = [](std::uint32_t id) { return "#" + std::to_string(id); };
    const std::string longest(1023, 'a');
    const std::uint32_t alone = directory_.AddGroup(longest, kRootGroup)->id;
    EXPECT_EQ(pathOf(directory_, alone), longest);
    const std::uint32_t longer = directory_.AddGroup(longest + "a", kRootGroup)->id;
    EXPECT_EQ(pathOf(directory_, longer), number(longer));
    const std::string first(500, 'b');
    const std::uint32_t above = directory_.AddGroup(first, kRootGroup)->id;
    const std::uint32_t below = directory_.AddGroup(std::string(522, 'c'), above)->id;
    EXPECT_EQ(pathOf(directory_, below), first + "/" + std::string(522, 'c'));
    const std::uint32_t beyond = directory_.AddGroup(std::string(523, 'c'), above)->id;
    EXPECT_EQ(pathOf(directory_, beyond), number(beyond));
}

TEST_F(PathsOfNodes, WhatDoesNotHangOnTheRootIsANumber) {
    const std::uint32_t lost = directory_.AddGroup("Lost", 99)->id;
    EXPECT_EQ(pathOf(directory_, lost), "#" + std::to_string(lost));
    EXPECT_EQ(pathOf(directory_, 99), "#99");
}

TEST_F(PathsOfNodes, ACircleEnds) {
    SetNodeParent(*directory_.FindNode(floor_), wing_);
    EXPECT_EQ(pathOf(directory_, sales_), "#" + std::to_string(sales_));
}

TEST_F(PathsOfNodes, AnEmptyDirectoryHasNothing) {
    const CGroupsDB empty;
    EXPECT_EQ(findNode(empty, "/"), nullptr);
    EXPECT_EQ(findNode(empty, "A/B"), nullptr);
}

}  // namespace
}  // namespace velmora::ctl
