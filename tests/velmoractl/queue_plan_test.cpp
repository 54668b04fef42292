#include "velmoractl/text/queue_plan.h"

#include <gtest/gtest.h>

#include "harness/latin1_codec.h"

namespace velmora::ctl {
namespace {

using velmora::testing::latin1Codec;

QueueDescription queue(const std::string& name, const std::string& port) {
    return {name, port, "Driver", "", "", ""};
}

std::vector<std::string> lines(const QueuePlan& plan) {
    std::vector<std::string> result;
    for (const Change& change : plan.changes) {
        result.push_back(inWords(change));
        for (const Difference& one : change.details)
            result.push_back(inWords(one));
    }
    return result;
}

TEST(QueuePlan, WhatIsMissingIsAddedAndWhatDiffersIsChanged) {
    const std::vector<QueueDescription> stored = {{"Same", "A", "Driver", "share", "here", "said"},
                                                  queue("Other", "A")};
    const std::vector<QueueDescription> wanted = {
        queue("Same", "A"), {"Other", "B", "Driver", "", "Room", ""}, queue("New", "B")};
    const QueuePlan plan = planQueues(wanted, stored, {"A", "B"}, false, latin1Codec());
    EXPECT_EQ(lines(plan),
              (std::vector<std::string>{"change queue \"Other\"", "port: \"A\" -> \"B\"",
                                        "location: none -> \"Room\"", "add queue \"New\""}));
    ASSERT_EQ(plan.toChange.size(), 1U);
    EXPECT_EQ(plan.toChange[0], wanted[1]);
    EXPECT_EQ(plan.toAdd, (std::vector<QueueDescription>{wanted[2]}));
}

TEST(QueuePlan, WhatAFileDoesNotSayStays) {
    const QueueDescription stored{"Q", "A", "Driver", "share", "here", "said"};
    const QueueDescription wanted{"Q", "A", "", "", "", "more"};
    EXPECT_EQ(merged(stored, wanted),
              (QueueDescription{"Q", "A", "Driver", "share", "here", "more"}));
}

TEST(QueuePlan, OthersAreRemovedOnlyIfAllTheirPortsAreOurs) {
    const std::vector<QueueDescription> stored = {queue("Ours", "A"), queue("Both", "A,LPT1:"),
                                                  queue("Pool", "A,B"), queue("PDF", "FILE:"),
                                                  queue("None", "")};
    EXPECT_TRUE(planQueues({}, stored, {"A", "B"}, false, latin1Codec()).changes.empty());
    const QueuePlan plan = planQueues({}, stored, {"A", "B"}, true, latin1Codec());
    EXPECT_EQ(plan.toRemove, (std::vector<std::string>{"Ours", "Pool"}));
    EXPECT_EQ(lines(plan),
              (std::vector<std::string>{"remove queue \"Ours\"", "remove queue \"Pool\""}));
}

TEST(QueuePlan, AQueueHasAPortOrSeveral) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(portsOfQueue(""), Names());
    EXPECT_EQ(portsOfQueue("A"), Names{"A"});
    EXPECT_EQ(portsOfQueue("A,B 2,C"), (Names{"A", "B 2", "C"}));
    EXPECT_EQ(portsOfQueue(",A,,B,"), (Names{"A", "B"}));
}

TEST(QueuePlan, APortIsFreeWhenEveryQueueHasLeftIt) {
    const std::vector<QueueDescription> stored = {queue("Moves", "A"), queue("Goes", "A"),
                                                  queue("Stays", "B,C")};
    QueuePlan plan;
    EXPECT_EQ(usersOfPort(stored, plan, "A"), (std::vector<std::string>{"Moves", "Goes"}));
    plan.toChange = {queue("Moves", "B")};
    plan.toRemove = {"Goes"};
    plan.toAdd = {queue("New", "B")};
    EXPECT_TRUE(usersOfPort(stored, plan, "A").empty());
    EXPECT_EQ(usersOfPort(stored, plan, "B"), (std::vector<std::string>{"Moves", "Stays", "New"}));
}

}  // namespace
}  // namespace velmora::ctl
