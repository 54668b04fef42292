#include "velmoractl/text/configuration_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/velmoractl/latin1_codec.h"
#include "velmoractl/text/directory_paths.h"

namespace velmora::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

PortConfig port(const std::string& name, const std::string& password = "") {
    PortConfig config;
    config.name = name;
    config.singleTarget = 1;
    config.printerUrl = "ipp://" + name + "/";
    config.useAuthentication = password.empty() ? 0 : 1;
    config.userName = password.empty() ? "" : "user";
    config.password = password;
    return config;
}

CGroupsDB directory(const std::string& printer, const std::string& url,
                    const std::string& password) {
    CGroupsDB result;
    auto root = std::make_unique<CGroupsDBGroup>();
    root->id = kRootGroup;
    root->name = "All groups";
    result.Insert(std::move(root));
    result.AddPrinter(printer, url, true, "user", password, kRootGroup);
    return result;
}

ConfigurationPlan plan(Configuration& wanted, const std::vector<PortConfig>& ports,
                       const CGroupsDB& stored, bool removeOthers = false) {
    return planImport(wanted, ports, stored, removeOthers, latin1Codec());
}

TEST(ConfigurationPlan, PortsAreAddedChangedAndLeftAlone) {
    Configuration wanted;
    wanted.ports = {port("same"), port("other"), port("new")};
    wanted.ports[1].jobTemplate.copies = 3;
    const ConfigurationPlan result =
        plan(wanted, {port("same"), port("other"), port("rest")}, CGroupsDB());
    ASSERT_EQ(result.changes.size(), 2U);
    EXPECT_EQ(result.changes[0].what, "port \"other\"");
    EXPECT_THAT(result.changes[0].details, ElementsAre("copies: \"1\" -> \"3\""));
    EXPECT_EQ(result.changes[1].kind, Change::Kind::add);
    EXPECT_THAT(result.portsToAdd, ElementsAre(port("new")));
    EXPECT_THAT(result.portsToRemove, IsEmpty());
    EXPECT_FALSE(result.directoryChanges);
}

TEST(ConfigurationPlan, OtherPortsAreRemovedOnRequest) {
    Configuration wanted;
    wanted.ports = {port("same")};
    EXPECT_THAT(plan(wanted, {port("same"), port("rest")}, CGroupsDB(), true).portsToRemove,
                ElementsAre("rest"));
}

TEST(ConfigurationPlan, AMissingPasswordIsTheStoredOne) {
    Configuration wanted;
    wanted.ports = {port("a", "x"), port("b", "x")};
    for (PortConfig& one : wanted.ports)
        one.password.clear();
    wanted.portsWithoutPassword = {"a", "b"};
    const ConfigurationPlan result = plan(wanted, {port("a", "stored")}, CGroupsDB());
    EXPECT_EQ(wanted.ports[0].password, "stored");
    EXPECT_THAT(result.portsToChange, IsEmpty());
    EXPECT_THAT(result.warnings, ElementsAre(HasSubstr("port \"b\" wants a password")));
}

TEST(ConfigurationPlan, APasswordDoesNotGoToAnotherPrinterOfTheSameNumber) {
    Configuration wanted;
    wanted.directory = directory("New", "ipp://new/", "");
    wanted.nodesWithoutPassword = {2};
    const ConfigurationPlan result = plan(wanted, {}, directory("Old", "ipp://old/", "stored"));
    EXPECT_EQ(wanted.directory->FindPrinter(2)->password, "");
    EXPECT_EQ(result.warnings.size(), 1U);
}

TEST(ConfigurationPlan, NoPasswordIsInTheList) {
    Configuration wanted;
    wanted.ports = {port("a", "verysecret")};
    wanted.directory = directory("P", "ipp://p/", "topsecret");
    const ConfigurationPlan result =
        plan(wanted, {port("a", "oldsecret")}, directory("P", "ipp://p/", "lastsecret"));
    ASSERT_EQ(result.changes.size(), 2U);
    for (const Change& change : result.changes) {
        EXPECT_THAT(change.details, ElementsAre("password: another"));
    }
}

TEST(ConfigurationPlan, AnAddedPortBringsTheDirectoryOfTheFileBack) {
    Configuration wanted;
    wanted.ports = {port("a")};
    wanted.directory = directory("P", "ipp://p/", "x");
    const ConfigurationPlan result = plan(wanted, {}, directory("P", "ipp://p/", "x"));
    EXPECT_TRUE(result.directoryChanges);
    EXPECT_EQ(result.changes.size(), 1U);
}

TEST(ConfigurationPlan, AFileThatIsCarriedOutLeavesNothingToDo) {
    Configuration wanted;
    wanted.ports = {port("a", "x")};
    wanted.directory = directory("P", "ipp://p/", "x");
    const ConfigurationPlan result =
        plan(wanted, {port("a", "x")}, directory("P", "ipp://p/", "x"));
    EXPECT_THAT(result.changes, IsEmpty());
    EXPECT_FALSE(result.directoryChanges);
}

TEST(ConfigurationPlan, NamesAreSafeToShow) {
    Configuration wanted;
    wanted.ports = {port("a\x1b[2J")};
    EXPECT_THAT(plan(wanted, {}, CGroupsDB()).changes[0].what, Not(HasSubstr("\x1b")));
}

}  // namespace
}  // namespace velmora::ctl
