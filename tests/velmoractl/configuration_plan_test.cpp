#include "velmoractl/text/configuration_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "harness/empty_directory.h"
#include "harness/latin1_codec.h"
#include "port/port_config.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/directory_paths.h"

namespace velmora::ctl {
namespace {

using testing::latin1Codec;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Key;
using ::testing::Not;

PortConfig port(const std::string& name, const std::string& password = "") {
    PortConfig config;
    config.name = name;
    config.singleTarget = 1;
    config.printer.url = "ipp://" + name + "/";
    config.printer.useAuthentication = password.empty() ? 0 : 1;
    config.printer.userName = password.empty() ? "" : "clerk";
    config.printer.password = password;
    return config;
}

CGroupsDB directory(const std::string& printer, const std::string& url,
                    const std::string& password) {
    CGroupsDB result = testing::emptyDirectory();
    result.AddPrinter(printer, {url, true, "clerk", password}, kRootGroup);
    return result;
}

ConfigurationPlan plan(Configuration& wanted, const std::vector<PortConfig>& ports,
                       const CGroupsDB& stored, const Removal& removal = {}) {
    return planImport(wanted, ports, stored, removal, latin1Codec());
}

TEST(ConfigurationPlan, PortsAreAddedChangedAndLeftAlone) {
    Configuration wanted;
    wanted.ports = {port("same"), port("other"), port("new")};
    wanted.ports[1].jobTemplate.copies = 3;
    const ConfigurationPlan result =
        plan(wanted, {port("same"), port("other"), port("rest")}, CGroupsDB());
    ASSERT_EQ(result.changes.size(), 2U);
    EXPECT_EQ(inWords(result.changes[0]), "change port \"other\"");
    ASSERT_EQ(result.changes[0].details.size(), 1U);
    EXPECT_EQ(inWords(result.changes[0].details[0]), "copies: 1 -> 3");
    EXPECT_EQ(result.changes[1].kind, Change::Kind::add);
    EXPECT_THAT(result.portsToAdd, ElementsAre(port("new")));
    EXPECT_THAT(result.portsToRemove, IsEmpty());
}

TEST(ConfigurationPlan, OtherPortsAreRemovedOnRequest) {
    Configuration wanted;
    wanted.ports = {port("same")};
    EXPECT_THAT(
        plan(wanted, {port("same"), port("rest")}, CGroupsDB(), {.ports = true}).portsToRemove,
        ElementsAre("rest"));
}

TEST(ConfigurationPlan, AMissingPasswordIsTheStoredOne) {
    Configuration wanted;
    wanted.ports = {port("a", "x"), port("b", "x")};
    for (PortConfig& one : wanted.ports)
        one.printer.password.clear();
    wanted.portsWithoutPassword = {"a", "b"};
    const ConfigurationPlan result = plan(wanted, {port("a", "stored")}, CGroupsDB());
    EXPECT_EQ(wanted.ports[0].printer.password, "stored");
    EXPECT_THAT(result.portsToChange, IsEmpty());
    EXPECT_THAT(result.warnings, ElementsAre(HasSubstr("port \"b\" wants a password")));
}

TEST(ConfigurationPlan, APasswordDoesNotGoToAnotherPrinterOfTheSameNumber) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(directory("New", "ipp://new/", ""));
    wanted.nodesWithoutPassword = {2};
    const ConfigurationPlan result = plan(wanted, {}, directory("Old", "ipp://old/", "stored"));
    EXPECT_EQ(result.grown->FindPrinter(2)->address.password, "stored");
    EXPECT_EQ(result.grown->FindPrinter(3)->address.password, "");
    EXPECT_EQ(result.warnings.size(), 1U);
}

TEST(ConfigurationPlan, APasswordDoesNotGoToAnotherAddress) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(directory("P", "ipp://new/", ""));
    wanted.nodesWithoutPassword = {2};
    const ConfigurationPlan result = plan(wanted, {}, directory("P", "ipp://old/", "stored"));
    EXPECT_EQ(result.grown->FindPrinter(2)->address.password, "");
    EXPECT_EQ(result.warnings.size(), 1U);
}

TEST(ConfigurationPlan, NoPasswordIsInTheList) {
    Configuration wanted;
    wanted.ports = {port("a", "verysecret")};
    wanted.directory = std::make_unique<CGroupsDB>(directory("P", "ipp://p/", "topsecret"));
    const ConfigurationPlan result =
        plan(wanted, {port("a", "oldsecret")}, directory("P", "ipp://p/", "lastsecret"));
    ASSERT_EQ(result.changes.size(), 2U);
    for (const Change& change : result.changes) {
        ASSERT_EQ(change.details.size(), 1U);
        EXPECT_EQ(inWords(change.details[0]), "password: another");
        EXPECT_THAT(change.details[0].before.dump() + change.details[0].after.dump(),
                    Not(HasSubstr("secret")));
    }
}

/// The list's entry for one key; null if there is none.
const Difference* differenceOf(const Change& change, const std::string& key) {
    const auto found = std::ranges::find(change.details, key, &Difference::key);
    return found == change.details.end() ? nullptr : &*found;
}

TEST(ConfigurationPlan, APasswordThatIsRemovedIsNotInTheListEither) {
    Configuration wanted;
    wanted.ports = {port("a")};
    wanted.directory = std::make_unique<CGroupsDB>(testing::emptyDirectory());
    wanted.directory->AddPrinter("P", {"ipp://p/", false, "", ""}, kRootGroup);
    const ConfigurationPlan result =
        plan(wanted, {port("a", "oldsecret")}, directory("P", "ipp://p/", "lastsecret"));
    ASSERT_EQ(result.changes.size(), 2U);
    for (const Change& change : result.changes) {
        SCOPED_TRACE(inWords(change));
        const Difference* const password = differenceOf(change, "password");
        ASSERT_NE(password, nullptr);
        EXPECT_EQ(password->before, "one") << "that there was one, and no more";
        EXPECT_EQ(password->after, nullptr);
        EXPECT_EQ(inWords(*password), "password: none");
        const Difference* const user = differenceOf(change, "user");
        ASSERT_NE(user, nullptr);
        EXPECT_EQ(inWords(*user), "user: \"clerk\" -> none") << "everything else is shown";
        for (const Difference& each : change.details) {
            EXPECT_THAT(each.before.dump() + each.after.dump() + inWords(each),
                        Not(HasSubstr("secret")));
        }
    }
}

CGroupsDB tree(const std::vector<std::string>& groups) {
    CGroupsDB result = directory("P", "ipp://p/", "x");
    for (const std::string& name : groups)
        result.AddGroup(name, kRootGroup);
    return result;
}

TEST(ConfigurationPlan, NothingOfTheDirectoryIsRemovedUnasked) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(tree({"New"}));
    const ConfigurationPlan result = plan(wanted, {}, tree({"Old", "Older"}));
    EXPECT_NE(findNode(*result.pruned, "Old"), nullptr);
    EXPECT_NE(findNode(*result.pruned, "Older"), nullptr);
    EXPECT_NE(findNode(*result.pruned, "New"), nullptr);
    ASSERT_EQ(result.changes.size(), 1U);
    EXPECT_EQ(inWords(result.changes[0]), "add group \"New\"");
}

TEST(ConfigurationPlan, AGroupIsKnownByItsPathWhateverItsNumber) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(tree({"A", "B"}));  // 3 and 4
    wanted.ports = {port("p")};
    wanted.ports[0].targetIds = {4, 3};
    const ConfigurationPlan result = plan(wanted, {}, tree({"B"}));
    EXPECT_EQ(findNode(*result.grown, "B")->id, 3U);
    EXPECT_EQ(findNode(*result.grown, "A")->id, 4U);
    EXPECT_THAT(result.portsToAdd[0].targetIds, ElementsAre(3U, 4U));
}

TEST(ConfigurationPlan, ANumberThatAPortStillHoldsIsNotGivenAgain) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(tree({"New"}));  // 3
    PortConfig holder = port("holder");
    holder.targetIds = {3, 5};
    const ConfigurationPlan result = plan(wanted, {holder}, tree({}));
    EXPECT_EQ(findNode(*result.grown, "New")->id, 4U);
}

TEST(ConfigurationPlan, PortsThatLoseGroupsAreNamed) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(tree({}));
    PortConfig holder = port("holder");
    holder.targetIds = {3};
    const ConfigurationPlan result = plan(wanted, {holder}, tree({"Old"}), {.groups = true});
    EXPECT_EQ(findNode(*result.pruned, "Old"), nullptr);
    EXPECT_NE(findNode(*result.grown, "Old"), nullptr);
    EXPECT_THAT(result.warnings, ElementsAre(HasSubstr("port \"holder\" loses groups")));
    ASSERT_EQ(result.portsToChange.size(), 1U);
    EXPECT_THAT(result.portsToChange[0].targetIds, IsEmpty());
}

TEST(ConfigurationPlan, AGroupWithAPrinterThatStaysStays) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(tree({}));
    CGroupsDB stored = tree({"Old"});
    stored.AddPrinter("Inside", {"ipp://i/", false, "", ""}, 3);
    EXPECT_NE(findNode(*plan(wanted, {}, stored, {.groups = true}).pruned, "Old"), nullptr);
    EXPECT_EQ(findNode(*plan(wanted, {}, stored, {.groups = true, .printers = true}).pruned, "Old"),
              nullptr);
}

TEST(ConfigurationPlan, APasswordInAStoredUrlStaysAndIsNotShown) {
    Configuration wanted;
    wanted.ports = {port("a")};
    wanted.ports[0].printer.url = "ipp://h/p";
    PortConfig stored = wanted.ports[0];
    stored.printer.url = "ipp://user:secret@h/p";
    EXPECT_THAT(plan(wanted, {stored}, CGroupsDB()).changes, IsEmpty());
    wanted.ports[0].printer.url = "ipp://h/q";
    const ConfigurationPlan result = plan(wanted, {stored}, CGroupsDB());
    ASSERT_EQ(result.changes.size(), 1U);
    EXPECT_EQ(inWords(result.changes[0].details[0]),
              "url: \"ipp://user:***@h/p\" -> \"ipp://h/q\"");
}

TEST(ConfigurationPlan, AFileThatIsCarriedOutLeavesNothingToDo) {
    Configuration wanted;
    wanted.ports = {port("a", "x")};
    wanted.directory = std::make_unique<CGroupsDB>(directory("P", "ipp://p/", "x"));
    const ConfigurationPlan result =
        plan(wanted, {port("a", "x")}, directory("P", "ipp://p/", "x"));
    EXPECT_THAT(result.changes, IsEmpty());
}

std::string inCapitals(std::string name) {
    for (char& c : name)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return name;
}

TEST(ConfigurationPlan, NodesAreReplacedAndTheDirectorysPatternsStay) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(tree({"New"}));
    CGroupsDB stored = tree({"Old"});
    stored.SetPortPrinter("Before", {"ipp://before/", false, "", ""});
    const ConfigurationPlan result = plan(wanted, {}, stored, {.groups = true});
    // Storing the ports has changed the patterns in between.
    stored.RemovePortPrinter("Before");
    stored.SetPortPrinter("Meanwhile", {"ipp://meanwhile/", false, "", ""});
    grow(stored, result);
    EXPECT_NE(findNode(stored, "Old"), nullptr);
    EXPECT_NE(findNode(stored, "New"), nullptr);
    EXPECT_THAT(stored.portPrinters(), ElementsAre(Key("Meanwhile")));
    complete(stored, result, inCapitals);
    EXPECT_EQ(findNode(stored, "Old"), nullptr);
    EXPECT_NE(findNode(stored, "New"), nullptr);
    EXPECT_THAT(stored.portPrinters(), ElementsAre(Key("Meanwhile")));
}

TEST(ConfigurationPlan, PatternsOfTheFileReplaceThoseOfTheSameFoldedName) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(tree({}));
    wanted.directory->SetPortPrinter("OFFICE", {"ipp://file/", false, "", ""});
    CGroupsDB stored = tree({});
    const ConfigurationPlan result = plan(wanted, {}, stored);
    stored.SetPortPrinter("Office", {"ipp://port/", false, "", ""});
    stored.SetPortPrinter("Other", {"ipp://other/", false, "", ""});
    complete(stored, result, inCapitals);
    EXPECT_THAT(stored.portPrinters(), ElementsAre(Key("OFFICE"), Key("Other")));
    EXPECT_EQ(stored.portPrinters().at("OFFICE")->address.url, "ipp://file/");
}

std::vector<std::string> inLines(const ConfigurationPlan& plan) {
    std::vector<std::string> lines;
    for (const Change& change : plan.changes)
        lines.push_back(inWords(change));
    return lines;
}

TEST(ConfigurationPlan, WhatIsRemovedIsListed) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(testing::emptyDirectory());
    CGroupsDB stored = tree({"Old"});
    PortConfig holder = port("holder");
    holder.targetIds = {3};
    const ConfigurationPlan kept =
        plan(wanted, {port("rest"), holder}, stored, {.groups = true, .printers = true});
    EXPECT_THAT(inLines(kept), ElementsAre("remove printer \"P\"", "remove group \"Old\"",
                                           "change port \"holder\""));
    EXPECT_THAT(kept.warnings, ElementsAre("port \"holder\" loses groups that are removed, and "
                                           "prints to none then"));
    EXPECT_THAT(inLines(plan(wanted, {port("rest"), holder}, stored, {.ports = true})),
                ElementsAre("remove port \"rest\"", "remove port \"holder\""));
    // One of two groups goes: the port still prints.
    stored = tree({"Old", "Kept"});
    holder.targetIds = {3, 4};
    wanted.directory->AddGroup("Kept", kRootGroup);
    EXPECT_THAT(plan(wanted, {holder}, stored, {.groups = true}).warnings,
                ElementsAre("port \"holder\" loses groups that are removed"));
}

/// A directory with the root and a group of this number.
CGroupsDB groupNumbered(std::uint32_t id, const std::string& name) {
    CGroupsDB result = testing::emptyDirectory();
    auto group = std::make_unique<CGroupsDBGroup>();
    group->id = id;
    group->name = name;
    group->parent = kRootGroup;
    result.Insert(std::move(group));
    return result;
}

TEST(ConfigurationPlan, ANewNumberIsAboveAllOthers) {
    // 3 is taken by another group: the next is behind what is stored and what the file numbers.
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(groupNumbered(3, "New"));
    EXPECT_EQ(findNode(*plan(wanted, {}, tree({"Old", "Older"})).grown, "New")->id, 5u);
    auto far = std::make_unique<CGroupsDBGroup>();
    far->id = 70;
    far->name = "Far";
    far->parent = kRootGroup;
    wanted.directory->Insert(std::move(far));
    const ConfigurationPlan result = plan(wanted, {}, tree({"Old"}));
    EXPECT_EQ(findNode(*result.grown, "Far")->id, 70u);
    EXPECT_EQ(findNode(*result.grown, "New")->id, 71u);
}

TEST(ConfigurationPlan, SeveralNewNumbersDiffer) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(tree({"A", "B", "C"}));
    PortConfig holder = port("holder");
    holder.targetIds = {7};
    const ConfigurationPlan result = plan(wanted, {holder}, tree({"X", "Y", "Z"}));
    EXPECT_EQ(findNode(*result.grown, "A")->id, 6u);
    EXPECT_EQ(findNode(*result.grown, "B")->id, 8u) << "a port still names 7";
    EXPECT_EQ(findNode(*result.grown, "C")->id, 9u);
}

TEST(ConfigurationPlan, TheSmallestNewNumberIsTwo) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(groupNumbered(5, "New"));
    PortConfig holder = port("holder");
    holder.targetIds = {5};
    EXPECT_EQ(findNode(*plan(wanted, {holder}, testing::emptyDirectory()).grown, "New")->id, 2u);
    // After the largest number of all the count begins anew.
    wanted.directory = std::make_unique<CGroupsDB>(groupNumbered(0xFFFFFFFF, "New"));
    EXPECT_EQ(findNode(*plan(wanted, {}, groupNumbered(0xFFFFFFFF, "Old")).grown, "New")->id, 2u);
}

TEST(ConfigurationPlan, APrintersStoredUrlKeepsItsPassword) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(directory("P", "ipp://h/p", "x"));
    wanted.nodesWithoutPassword = {2};
    const ConfigurationPlan result =
        plan(wanted, {}, directory("P", "ipp://user:secret@h/p", "stored"));
    EXPECT_THAT(result.changes, IsEmpty());
    EXPECT_EQ(result.grown->FindPrinter(2)->address.url, "ipp://user:secret@h/p");
    EXPECT_EQ(result.grown->FindPrinter(2)->address.password, "stored");
}

TEST(ConfigurationPlan, UnusedCredentialsAreNotStored) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(testing::emptyDirectory());
    const PrinterAddress unused{"ipp://p/", 0, "user", "secret"};
    wanted.directory->AddPrinter("P", unused, kRootGroup);
    wanted.directory->SetPortPrinter("Port", unused);
    const ConfigurationPlan result = plan(wanted, {}, testing::emptyDirectory());
    const PrinterAddress bare{"ipp://p/", 0, "", ""};
    EXPECT_EQ(findNode(*result.grown, "P")->type, NODE_PRINTER);
    EXPECT_EQ(result.grown->FindPrinter(2)->address, bare);
    ASSERT_EQ(result.patterns.size(), 1u);
    EXPECT_EQ(result.patterns.front().address, bare);
}

/// What becomes of the pattern of "Port" that a file holds, if another one is stored.
ConfigurationPlan planOfPattern(const PrinterAddress& file, const PrinterAddress& stored,
                                bool withoutPassword) {
    Configuration wanted;
    wanted.directory = std::make_unique<CGroupsDB>(testing::emptyDirectory());
    wanted.directory->SetPortPrinter("Port", file);
    if (withoutPassword) wanted.portPrintersWithoutPassword = {"Port"};
    CGroupsDB directory = testing::emptyDirectory();
    directory.SetPortPrinter("Port", stored);
    return plan(wanted, {}, directory);
}

TEST(ConfigurationPlan, APatternThatDiffersIsAChange) {
    const PrinterAddress stored{"ipp://user:key@h/p", 1, "clerk", "stored"};
    const ConfigurationPlan same = planOfPattern(stored, stored, false);
    EXPECT_THAT(same.changes, IsEmpty());
    ASSERT_EQ(same.patterns.size(), 1u);
    EXPECT_EQ(same.patterns.front().address, stored);
    EXPECT_THAT(inLines(planOfPattern({"ipp://h/p", 1, "clerk", "other"}, stored, false)),
                ElementsAre("change the patterns of the ports' printers"));
    // Beside another change it goes without saying.
    Configuration wanted;
    wanted.ports = {port("new")};
    wanted.directory = std::make_unique<CGroupsDB>(testing::emptyDirectory());
    wanted.directory->SetPortPrinter("Port", stored);
    EXPECT_THAT(inLines(plan(wanted, {}, testing::emptyDirectory())),
                ElementsAre("add port \"new\""));
    wanted.ports.clear();
    EXPECT_THAT(inLines(plan(wanted, {}, testing::emptyDirectory())),
                ElementsAre("change the patterns of the ports' printers"));
}

TEST(ConfigurationPlan, APatternKeepsThePasswordsOfItsAddressAlone) {
    const PrinterAddress stored{"ipp://user:key@h/p", 1, "clerk", "stored"};
    const ConfigurationPlan kept = planOfPattern({"ipp://h/p", 1, "clerk", ""}, stored, true);
    EXPECT_THAT(kept.changes, IsEmpty());
    EXPECT_EQ(kept.patterns.front().address, stored);
    const ConfigurationPlan said = planOfPattern({"ipp://h/p", 1, "clerk", ""}, stored, false);
    EXPECT_EQ(said.patterns.front().address.password, "") << "the file says that it has none";
    const ConfigurationPlan moved = planOfPattern({"ipp://new/p", 1, "clerk", ""}, stored, true);
    EXPECT_EQ(moved.patterns.front().address.url, "ipp://new/p");
    EXPECT_EQ(moved.patterns.front().address.password, "");
}

TEST(ConfigurationPlan, ADescriptionLeavesUnusedCredentialsAsTheyAre) {
    const auto credentials = [](bool before, bool after) {
        PortConfig stored = port("a");
        stored.printer = {"ipp://a/", static_cast<std::uint8_t>(before), "old", "oldsecret"};
        Configuration wanted;
        wanted.isDescription = true;
        wanted.ports = {port("a")};
        wanted.ports[0].printer = {"ipp://a/", static_cast<std::uint8_t>(after), "", ""};
        plan(wanted, {stored}, CGroupsDB());
        return wanted.ports[0].printer.userName + "/" + wanted.ports[0].printer.password;
    };
    EXPECT_EQ(credentials(false, false), "old/oldsecret");
    EXPECT_EQ(credentials(true, false), "/");
    EXPECT_EQ(credentials(false, true), "/");
    EXPECT_EQ(credentials(true, true), "/");
}

TEST(ConfigurationPlan, OnlyUrlsAreMasked) {
    PortConfig before = port("a");
    before.jobTemplate.media = "tray://a:b@c";
    PortConfig after = before;
    after.jobTemplate.media = "tray://a:d@c";
    const std::vector<Difference> list = differences(before, after, latin1Codec());
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(inWords(list[0]), "media: \"tray://a:b@c\" -> \"tray://a:d@c\"");
}

TEST(ConfigurationPlan, AGroupThatBecomesAPrinterHasAnAddress) {
    CGroupsDBGroup group;
    group.id = 2;
    CGroupsDBPrinter printer;
    printer.id = 2;
    printer.address.url = "ipp://user:secret@h/";
    const std::vector<Difference> list = differences(group, printer, latin1Codec());
    const auto url = std::ranges::find(list, "url", &Difference::key);
    ASSERT_NE(url, list.end());
    EXPECT_EQ(inWords(*url), "url: none -> \"ipp://user:***@h/\"");
}

TEST(ConfigurationPlan, NamesAreSafeToShow) {
    Configuration wanted;
    wanted.ports = {port("a\x1b[2J")};
    EXPECT_THAT(inWords(plan(wanted, {}, CGroupsDB()).changes[0]), Not(HasSubstr("\x1b")));
}

}  // namespace
}  // namespace velmora::ctl
