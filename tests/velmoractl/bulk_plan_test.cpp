#include "velmoractl/text/bulk_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harness/empty_directory.h"
#include "harness/latin1_codec.h"
#include "port/port_config.h"
#include "velmoractl/command_error.h"
#include "velmoractl/text/directory_paths.h"

namespace velmora::ctl {
namespace {

using testing::latin1Codec;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kWhat[] = "the verb";

PortConfig port(const std::string& name, const std::string& url, const std::string& user = "") {
    PortConfig config;
    config.name = name;
    config.singleTarget = 1;
    config.printer = {url, !user.empty(), user, user.empty() ? "" : "old"};
    return config;
}

/// Group "FL1" (2) with the printer "Sales" (3), and the printer "FL lobby" (4) in the root.
CGroupsDB directory() {
    CGroupsDB result = testing::emptyDirectory();
    result.AddGroup("FL1", kRootGroup);
    result.AddPrinter("Sales", {"ipp://old.example/1", true, "print", "old"}, 2);
    result.AddPrinter("FL lobby", {"ipp://other.example/2", false, "", ""}, kRootGroup);
    return result;
}

Selector selector(const Selection& selection, const std::vector<std::string>& keys = portKeys()) {
    return {selection, keys, latin1Codec(), kWhat};
}

std::vector<std::string> namesOf(const std::vector<PortConfig>& ports) {
    std::vector<std::string> names;
    for (const PortConfig& one : ports)
        names.push_back(one.name);
    return names;
}

TEST(Selection, PatternsFitWholeTexts) {
    struct Case {
        const char* text;
        const char* pattern;
        bool fits;
    };
    const Case cases[] = {
        {"FL1", "FL*", true},      {"FL1", "F", false},     {"FL1", "FL1", true},
        {"FL1", "fl*", false},     {"", "", true},          {"", "*", true},
        {"", "?", false},          {"x", "", false},        {"FL1", "?L?", true},
        {"FL12", "?L?", false},    {"a*b", "a*b", true},    {"abcabd", "*abd", true},
        {"abcabd", "*abc", false}, {"\xC3\xA4", "?", true}, {"\xC3\xA4x", "?x", true},
        {"\xC3\xA4", "??", false}, {"a/b/c", "a*c", true},  {"aaa", "a**a", true}};
    for (const Case& one : cases)
        EXPECT_EQ(matches(one.text, one.pattern), one.fits) << one.text << " " << one.pattern;
}

TEST(Selection, PatternsAreReadByCharacter) {
    EXPECT_TRUE(matches("\xC3\xA9", "?"));  // its second byte is odd
    EXPECT_TRUE(matches("\xE6\x9D\xB1x", "*?x"));
    EXPECT_FALSE(matches("\xC3\xA9x", "?"));
}

TEST(Selection, AStarTakesNothingBack) {
    EXPECT_FALSE(matches("abX", "ab*bX"));
    EXPECT_TRUE(matches("abbX", "ab*bX"));
}

TEST(Selection, NothingAfterTheEndOfATextIsRead) {
    const auto part = [](std::string_view text, std::size_t length) {
        return text.substr(0, length);
    };
    EXPECT_FALSE(matches("abc", part("ab*", 2)));
    EXPECT_FALSE(matches("abc", part("ab?", 2)));
    EXPECT_FALSE(matches("abc", part("abc", 2)));
    EXPECT_TRUE(matches("a", part("a*", 1)));
    EXPECT_FALSE(matches(part("ab", 1), "a?"));
    // The memory ends there as well, which AddressSanitizer checks.
    const std::vector<char> text = {'a', '\xC3'};
    const std::vector<char> pattern = {'a', 'b'};
    EXPECT_TRUE(matches({text.data(), text.size()}, "a?"));
    EXPECT_FALSE(matches("abc", {pattern.data(), pattern.size()}));
}

TEST(Selection, AHostilePatternTakesNoTimeInPowersOfItsStars) {
    std::string pattern;
    for (int i = 0; i < 200; ++i)
        pattern += "*a";
    EXPECT_FALSE(matches(std::string(20'000, 'a') + "b", pattern));
}

TEST(Selection, PortsAreTakenByNameAndByConditions) {
    std::vector<PortConfig> ports = {port("FL1", "ipp://old/1"), port("FL2", "ipp://new/2", "u"),
                                     port("Lobby", "ipp://old/3")};
    ports[2].jobTemplate.media = "A3";
    ports.push_back(port("Floors", ""));
    ports[3].singleTarget = 0;
    ports[3].targetIds = {2};
    const CGroupsDB groups = directory();
    const auto taken = [&](const Selection& selection) {
        return namesOf(selected(ports, groups, selector(selection)));
    };
    EXPECT_THAT(taken({.all = true}), ElementsAre("FL1", "FL2", "Lobby", "Floors"));
    EXPECT_THAT(taken({.patterns = {"FL*"}}), ElementsAre("FL1", "FL2"));
    EXPECT_THAT(taken({.patterns = {"FL1", "L*"}}), ElementsAre("FL1", "Lobby"));
    EXPECT_THAT(taken({.where = {"url=ipp://old*"}}), ElementsAre("FL1", "Lobby"));
    EXPECT_THAT(taken({.patterns = {"FL*"}, .where = {"url=ipp://old*"}}), ElementsAre("FL1"));
    EXPECT_THAT(taken({.where = {"url=ipp://old*", "media=A3"}}), ElementsAre("Lobby"));
    EXPECT_THAT(taken({.where = {"user=*"}}), ElementsAre("FL2"));
    EXPECT_THAT(taken({.where = {"authentication=true"}}), ElementsAre("FL2"));
    EXPECT_THAT(taken({.where = {"mode=multi*"}}), ElementsAre("Floors"));
    EXPECT_THAT(taken({.where = {"group=FL?"}}), ElementsAre("Floors"));
    EXPECT_THAT(taken({.where = {"url="}}), IsEmpty());
    EXPECT_THAT(taken({.where = {"name=L*"}}), ElementsAre("Lobby"));
    EXPECT_THAT(taken({.where = {"authentication=false"}}), ElementsAre("FL1", "Lobby"));
}

TEST(Selection, NamedOnesAreNotFoundByPattern) {
    const Selector named = selector({.names = {"FL1"}, .where = {"url=ipp://old*"}});
    const CGroupsDB groups = directory();
    const PortConfig one = port("FL1", "ipp://old/1");
    EXPECT_THAT(selected({one}, groups, named), IsEmpty());
    const DirectoryPaths names(groups);
    EXPECT_TRUE(
        named.meetsConditions([&](std::string_view key) { return valuesOf(one, names, key); }));
}

TEST(Selection, APatternWithASlashIsAboutAPrintersPath) {
    const CGroupsDB groups = directory();
    const auto taken = [&](const std::string& pattern) {
        return selected(groups, selector({.patterns = {pattern}}, printerKeys()));
    };
    EXPECT_THAT(taken("FL*"), ElementsAre(4));
    EXPECT_THAT(taken("FL*/*"), ElementsAre(3));
    EXPECT_THAT(selected(groups, selector({.where = {"url=ipp://old*"}}, printerKeys())),
                ElementsAre(3));
}

TEST(Selection, PrintersAreTakenByConditions) {
    const CGroupsDB groups = directory();
    const auto taken = [&](const std::string& condition) {
        return selected(groups, selector({.where = {condition}}, printerKeys()));
    };
    EXPECT_THAT(taken("name=Sales"), ElementsAre(3));
    EXPECT_THAT(taken("authentication=true"), ElementsAre(3));
    EXPECT_THAT(taken("authentication=false"), ElementsAre(4));
    EXPECT_THAT(taken("user=print"), ElementsAre(3));
    EXPECT_THAT(taken("user=*"), ElementsAre(3));
    CGroupsDBPrinter printer;
    printer.address = {"ipp://x.example/1", true, "print", "old"};
    EXPECT_THAT(valuesOf(printer, "password"), IsEmpty());
}

TEST(Selection, AConditionThatCannotBeReadNamesTheKeys) {
    for (const char* const where : {"url", "=x", "colour=red", ""}) {
        try {
            selector({.where = {where}}, printerKeys());
            ADD_FAILURE() << where;
        } catch (const CommandError& error) {
            EXPECT_EQ(error.code(), ExitCode::usage);
            EXPECT_THAT(error.what(), HasSubstr("keys: name, url, authentication, user"));
        }
    }
}

TEST(BulkPlan, TheFirstBeginningThatFitsIsReplaced) {
    const auto list = readUrlReplacements({"ipp://a/x=ipp://b/y=1", "ipp://a/=http://c/", "ipp:="},
                                          latin1Codec(), kWhat);
    EXPECT_EQ(replaced("ipp://a/x/2", list), "ipp://b/y=1/2");
    EXPECT_EQ(replaced("ipp://a/z", list), "http://c/z");
    EXPECT_EQ(replaced("ipp://q/", list), "//q/");
    EXPECT_EQ(replaced("http://ipp://a/", list), std::nullopt);
    for (const char* const bad : {"ipp://a", "=ipp://b", ""})
        EXPECT_THROW(readUrlReplacements({bad}, latin1Codec(), kWhat), CommandError) << bad;
}

TEST(BulkPlan, AnUnchangedPortIsNotInThePlan) {
    ConfigurationPlan plan;
    const PortConfig before = port("P", "ipp://old/");
    PortConfig after = before;
    planPort(plan, before, after, latin1Codec());
    EXPECT_THAT(plan.changes, IsEmpty());
    after.printer.url = "ipp://new/";
    planPort(plan, before, after, latin1Codec());
    ASSERT_EQ(plan.changes.size(), 1U);
    EXPECT_EQ(inWords(plan.changes[0]), "change port \"P\"");
    EXPECT_EQ(inWords(plan.changes[0].details[0]), "url: \"ipp://old/\" -> \"ipp://new/\"");
    EXPECT_THAT(plan.portsToChange, ElementsAre(after));
}

TEST(BulkPlan, ChangesOfTheDirectoryAreToldNodeByNode) {
    const CGroupsDB before = directory();
    CGroupsDB after = copyOf(before);
    after.FindPrinter(3)->address.url = "ipp://new/";
    after.FindPrinter(3)->name = "Selling";
    after.DeleteNode(4);
    after.AddGroup("New", kRootGroup);
    const auto changes = directoryChanges(before, after, latin1Codec());
    ASSERT_EQ(changes.size(), 3U);
    EXPECT_EQ(inWords(changes[0]), "change printer \"FL1/Sales\"");
    EXPECT_EQ(changes[0].details.size(), 2U);
    EXPECT_EQ(inWords(changes[1]), "add group \"New\"");
    EXPECT_EQ(inWords(changes[2]), "remove printer \"FL lobby\"");
    EXPECT_THAT(directoryChanges(before, before, latin1Codec()), IsEmpty());
}

class Passwords : public ::testing::Test {
  protected:
    Passwords() {
        stored.SetPortPrinter("FL1", {"ipp://old/1", true, "print", "old"});
        stored.SetPortPrinter("Gone", {"ipp://old/9", true, "print", "old"});
    }

    PasswordPlan plan(const Selection& selection, const PasswordKinds& kinds = {}) {
        return planPasswords(ports, stored, selector(selection, printerKeys()), kinds, "new",
                             latin1Codec());
    }

    static std::vector<std::string> words(const PasswordPlan& plan) {
        std::vector<std::string> result;
        for (const Change& change : plan.ports.changes)
            result.push_back(inWords(change));
        return result;
    }

    std::vector<PortConfig> ports = {port("FL1", "ipp://old/1", "print"),
                                     port("FL2", "ipp://old/2"),
                                     port("Lobby", "ipp://old/3", "guest")};
    CGroupsDB stored = directory();
};

TEST_F(Passwords, AllThatAskForOneGetIt) {
    const PasswordPlan all = plan({.all = true});
    EXPECT_THAT(words(all), ElementsAre("change port \"FL1\"", "change port \"Lobby\"",
                                        "change printer \"FL1/Sales\"", "change pattern \"Gone\""));
    EXPECT_EQ(all.withPassword, 5U);
    EXPECT_EQ(all.withoutAuthentication, 2U);
    CGroupsDB after = copyOf(stored);
    applyPasswords(after, all, "new");
    EXPECT_EQ(after.FindPrinter(3)->address.password, "new");
    EXPECT_EQ(after.FindPrinter(4)->address.password, "");
    EXPECT_EQ(after.portPrinters().at("Gone")->address.password, "new");
    EXPECT_EQ(after.portPrinters().at("FL1")->address.password, "new");
}

TEST_F(Passwords, AreGivenByUserAndByKind) {
    EXPECT_THAT(words(plan({.where = {"user=guest"}})), ElementsAre("change port \"Lobby\""));
    EXPECT_THAT(words(plan({.where = {"name=Lobby"}})), ElementsAre("change port \"Lobby\""));
    EXPECT_THAT(words(plan({.patterns = {"FL*"}}, {.ports = false})),
                ElementsAre("change pattern \"FL1\""));
    EXPECT_THAT(words(plan({.all = true}, {.ports = false, .patterns = false})),
                ElementsAre("change printer \"FL1/Sales\""));
}

TEST_F(Passwords, AreNotInTheListAndNotChangedWhereTheyAreTheSame) {
    for (PortConfig& one : ports)
        if (one.printer.useAuthentication) one.printer.password = "new";
    const PasswordPlan result = plan({.patterns = {"FL1", "Lobby"}}, {.patterns = false});
    EXPECT_THAT(result.ports.changes, IsEmpty());
    EXPECT_THAT(result.ports.portsToChange, IsEmpty());
    EXPECT_EQ(result.withPassword, 2U);
    for (const Change& change : plan({.all = true}).ports.changes) {
        for (const Difference& one : change.details)
            EXPECT_THAT(inWords(one), Not(HasSubstr("new"))) << inWords(change);
    }
}

TEST_F(Passwords, APortsModeDecidesWhetherItAsksForOne) {
    ports = {port("Groups", "ipp://hidden/", "print")};
    ports[0].singleTarget = 0;
    EXPECT_EQ(plan({.patterns = {"Groups"}}).withPassword, 0U);
}

TEST_F(Passwords, RecordsThatHaveGoneMeanwhileArePassedOver) {
    const PasswordPlan all = plan({.all = true});
    CGroupsDB changed = copyOf(stored);
    changed.DeleteNode(3);
    changed.RemovePortPrinter("Gone");
    changed.portPrinters().at("FL1")->address = {"ipp://open/", false, "", ""};
    applyPasswords(changed, all, "new");
    EXPECT_EQ(changed.FindNode(3), nullptr);
    EXPECT_EQ(changed.portPrinters().at("FL1")->address.password, "");
}

}  // namespace
}  // namespace velmora::ctl
