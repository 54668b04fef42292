#include "velmoractl/text/undo.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace velmora::ctl {
namespace {

const std::vector<std::string> kSteps{"the files", "the key", "the policy", "the directory"};

const CommandError kReason{ExitCode::accessDenied, "install, a step", "access is denied",
                           "be an administrator", "some-keyword"};

/// A computer on which objects are made, in this order. Step number `failing` fails; the objects in
/// `stuck` cannot be removed again.
struct FakeComputer {
    std::vector<std::string> things;
    std::vector<std::string> removed;
    std::set<std::string> stuck;

    void install(std::size_t failing) {
        Undo undo;
        for (std::size_t i = 0; i < kSteps.size(); ++i) {
            if (i == failing) throw undo.takeBack(kReason);
            things.push_back(kSteps[i]);
            undo.done(kSteps[i], [this, name = kSteps[i]] {
                if (stuck.contains(name)) return false;
                removed.push_back(name);
                std::erase(things, name);
                return true;
            });
        }
    }
};

std::string whyOf(FakeComputer& computer, std::size_t failing) {
    try {
        computer.install(failing);
    } catch (const CommandError& error) {
        EXPECT_EQ(error.code(), kReason.code());
        EXPECT_EQ(error.subject(), kReason.subject());
        EXPECT_EQ(error.remedy(), kReason.remedy());
        EXPECT_EQ(error.keyword(), kReason.keyword());
        return error.why();
    }
    return "none";
}

TEST(Undo, WhicheverStepFailsAllBeforeItIsTakenBackTheLastFirst) {
    for (std::size_t failing = 0; failing < kSteps.size(); ++failing) {
        FakeComputer computer;
        EXPECT_EQ(whyOf(computer, failing),
                  failing == 0 ? "access is denied; nothing has been changed"
                               : "access is denied; what was done before has been taken back");
        EXPECT_TRUE(computer.things.empty()) << failing;
        EXPECT_EQ(computer.removed,
                  std::vector<std::string>(kSteps.rend() - static_cast<std::ptrdiff_t>(failing),
                                           kSteps.rend()));
    }
}

TEST(Undo, WhatCannotBeTakenBackIsNamedAndTheRestIsTakenBack) {
    FakeComputer computer;
    computer.stuck = {"the files", "the policy"};
    EXPECT_EQ(whyOf(computer, 3),
              "access is denied; this could not be taken back: the policy, the files");
    EXPECT_EQ(computer.things, (std::vector<std::string>{"the files", "the policy"}));
}

TEST(Undo, NothingIsTakenBackWhenNothingFails) {
    FakeComputer computer;
    EXPECT_EQ(whyOf(computer, kSteps.size()), "none");
    EXPECT_EQ(computer.things, kSteps);
}

}  // namespace
}  // namespace velmora::ctl
