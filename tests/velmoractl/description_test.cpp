#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "harness/empty_directory.h"
#include "harness/latin1_codec.h"
#include "port/port_config.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/configuration_values.h"
#include "velmoractl/text/configuration_versions.h"
#include "velmoractl/text/directory_paths.h"

namespace velmora::ctl {
namespace {

using testing::latin1Codec;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

CGroupsDB emptyDirectory() {
    return testing::emptyDirectory("Alle Gruppen");
}

/// A file of version 2 with these keys.
std::string file(const std::string& keys) {
    return R"({"format":"velmora-configuration","version":2)" + (keys.empty() ? "" : "," + keys) +
           "}";
}

Configuration read(const std::string& keys, const CGroupsDB& current = emptyDirectory()) {
    return readConfiguration(file(keys), current, latin1Codec());
}

std::string refusal(const std::vector<FileText>& files) {
    try {
        readConfiguration(files, emptyDirectory(), latin1Codec());
    } catch (const FileError& error) {
        return error.what();
    }
    return "none";
}

std::vector<std::string> words(const ConfigurationPlan& plan) {
    std::vector<std::string> result;
    for (const Change& change : plan.changes)
        result.push_back(inWords(change));
    return result;
}

TEST(Description, PortsTakeTemplatesAndOverrideThem) {
    const Configuration result = read(R"(
        "defaults": {"job-template": {"media": "A5", "copies": 2}},
        "templates": {
            "duplex": {"template": "paper", "job-template": {"sides": "two-sided-long-edge"}},
            "paper": {"job-template": {"media": "A3"}}, "none": {}},
        "ports": [
            {"name": "plain", "url": "ipp://a/"},
            {"name": "duplex", "url": "ipp://b/", "template": "duplex"},
            {"name": "own", "url": "ipp://c/", "template": "duplex", "user": "u", "password": "p",
             "job-template": {"copies": 7, "print-quality": "high"}},
            {"name": "none", "url": "ipp://d/", "template": "none", "user": "u"}])");
    ASSERT_EQ(result.ports.size(), 4U);
    EXPECT_EQ(result.ports[0].jobTemplate.media, "A5");
    EXPECT_EQ(result.ports[0].jobTemplate.copies, 2U);
    EXPECT_EQ(result.ports[0].jobTemplate.sides, "one-sided");
    EXPECT_EQ(result.ports[1].jobTemplate.media, "A3");
    EXPECT_EQ(result.ports[1].jobTemplate.sides, "two-sided-long-edge");
    EXPECT_EQ(result.ports[1].jobTemplate.copies, 2U);
    EXPECT_EQ(result.ports[2].jobTemplate.copies, 7U);
    EXPECT_EQ(result.ports[2].jobTemplate.sides, "two-sided-long-edge");
    EXPECT_EQ(result.ports[2].printer, (PrinterAddress{"ipp://c/", 1, "u", "p"}));
    EXPECT_EQ(result.ports[3].jobTemplate.media, "A5");
    EXPECT_THAT(result.portsWithoutPassword, ElementsAre("none"));
    EXPECT_TRUE(result.hasPorts);
    EXPECT_FALSE(result.directory);
    EXPECT_FALSE(result.hasQueues);
}

TEST(Description, GroupsAreNamedByPathAndNested) {
    const Configuration result = read(R"(
        "groups": {
            "First floor/Left": {"printers": {"A/1": {"url": "ipp://a/"}}},
            "First floor": {"groups": {"Right": {"printers":
                {"B": {"url": "ipp://b/", "user": "u", "password": "p"}}}}},
            "/": {"printers": {"Hall": {"url": "ipp://h/", "user": "u"}}}},
        "ports": [{"name": "P", "groups": ["First floor/Right", "First floor", "First floor"]},
                  {"name": "All", "groups": ["/"]}])");
    ASSERT_TRUE(result.directory);
    const DirectoryPaths names(*result.directory);
    EXPECT_EQ(result.directory->FindNode(kRootGroup)->name, "Alle Gruppen");
    const CGroupsDBNode* const right = names.find("First floor/Right/B");
    ASSERT_NE(right, nullptr);
    EXPECT_EQ(static_cast<const CGroupsDBPrinter*>(right)->address,
              (PrinterAddress{"ipp://b/", 1, "u", "p"}));
    EXPECT_NE(names.child(names.find("First floor/Left")->id, "A/1"), nullptr);
    EXPECT_THAT(result.nodesWithoutPassword, ElementsAre(names.find("Hall")->id));
    EXPECT_THAT(result.ports[0].targetIds,
                ElementsAre(names.find("First floor/Right")->id, names.find("First floor")->id));
    EXPECT_EQ(result.ports[0].singleTarget, 0);
    EXPECT_THAT(result.ports[1].targetIds, ElementsAre(kRootGroup));
}

TEST(Description, WithoutGroupsPortsNameThoseThatAreStored) {
    CGroupsDB stored = emptyDirectory();
    const std::uint32_t floor = stored.AddGroup("Floor", kRootGroup)->id;
    const Configuration result = read(R"("ports": [{"name": "P", "groups": ["Floor"]}])", stored);
    EXPECT_THAT(result.ports[0].targetIds, ElementsAre(floor));
}

TEST(Description, QueuesAreRead) {
    const Configuration result = read(R"("queues": [
        {"name": "Q", "port": "P", "driver": "D", "share": "s", "location": "L/1", "comment": "c"},
        {"name": "R", "port": "P", "driver": "D"}])");
    EXPECT_TRUE(result.hasQueues);
    EXPECT_THAT(result.queues, ElementsAre(QueueDescription{"Q", "P", "D", "s", "L/1", "c"},
                                           QueueDescription{"R", "P", "D", "", "", ""}));
}

TEST(Description, SeveralFilesAreOne) {
    const std::vector<FileText> files = {
        {"a.json", file(R"("ports": [{"name": "P", "groups": ["F"], "template": "t"}])")},
        {"b.json", file(R"("templates": {"t": {"job-template": {"copies": 3}}},
                           "groups": {"F": {"printers": {"A": {"url": "ipp://a/"}}}})")},
        {"c.json", file(R"("groups": {"F": {"printers": {"B": {"url": "ipp://b/"}}}})")},
        {"d.csv", "name,url\nQ,ipp://q/\n", true}};
    const Configuration result = readConfiguration(files, emptyDirectory(), latin1Codec());
    ASSERT_EQ(result.ports.size(), 2U);
    EXPECT_EQ(result.ports[0].jobTemplate.copies, 3U);
    EXPECT_EQ(result.ports[1].printer.url, "ipp://q/");
    EXPECT_EQ(result.directory->nodes().size(), 4U);
}

TEST(Description, WhatIsWrongInSeveralFilesIsToldWithTheFile) {
    const std::string good = file(R"("ports": [{"name": "P", "url": "ipp://a/"}])");
    const auto two = [&](const std::string& second, bool table = false) {
        return refusal({{"a.json", good}, {"b", second, table}});
    };
    EXPECT_THAT(two(good), HasSubstr("b, port 1 has a name that an earlier one has"));
    EXPECT_THAT(two("{"), HasSubstr("b: is not valid JSON"));
    EXPECT_THAT(two(R"({"format":"velmora-configuration","version":1})"),
                HasSubstr("b: is of version 1, which stands alone"));
    EXPECT_THAT(two("name,url\nX\n", true), HasSubstr("b, line 2 needs a \"url\""));
    EXPECT_THAT(two("name,colour\nX,red\n", true), HasSubstr("b: has the unknown column"));
    EXPECT_EQ(refusal({{"a.json", good}}), "none");
    const std::string defaults = file(R"("defaults": {})");
    EXPECT_THAT(refusal({{"a.json", defaults}, {"b", defaults}}),
                HasSubstr("b, defaults is there twice"));
    const std::string templates = file(R"("templates": {"t": {}})");
    EXPECT_THAT(refusal({{"a.json", templates}, {"b", templates}}),
                HasSubstr("b, template \"t\" is there twice"));
}

TEST(Description, AGroupThatNobodyCanLookUpHasNoNumber) {
    std::vector<DescriptionPart> parts(1);
    parts[0].json = Json::parse(file(R"("ports": [{"name": "P", "groups": ["Floor/Left"]}])"));
    EXPECT_THAT(readVersion2(parts, nullptr, latin1Codec()).ports.at(0).targetIds, ElementsAre(0u));
}

TEST(Description, WhatIsWrongIsToldWithItsPlace) {
    struct Case {
        const char* keys;
        const char* message;
    };
    const Case cases[] = {
        {R"("port": [])", "unknown key \"port\" (known: format, version, defaults"},
        {R"("ports": {})", "\"ports\" must be a list"},
        {R"("ports": [1])", "port 1 must be an object"},
        {R"("ports": [{"url": "ipp://a/"}])", "port 1 lacks \"name\""},
        {R"("ports": [{"name": "", "url": "ipp://a/"}])", "port 1 has an empty name"},
        {R"("ports": [{"name": "P"}])", "port 1 needs a \"url\""},
        {R"("ports": [{"name": "P", "url": "u", "groups": []}])", "port 1 needs a \"url\""},
        {R"("ports": [{"name": "P", "url": 5}])", "\"url\" must be a text"},
        {R"("ports": [{"name": "P", "url": "ipp://u:p@h/"}])", "with a user name in it"},
        {R"("ports": [{"name": "P", "url": "u", "password": "x"}])", "without a \"user\""},
        {R"("ports": [{"name": "P", "url": "u", "mode": "x"}])", "unknown key \"mode\""},
        {R"("ports": [{"name": "P", "groups": ["F"]}])", "the group \"F\", which"},
        {R"("ports": [{"name": "P", "groups": [1]}])", "must be paths"},
        {R"("ports": [{"name": "P", "groups": "/"}])", "must be a list"},
        {R"("ports": [{"name": "P", "groups": ["/"], "user": "u"}])", "prints to groups"},
        {R"("ports": [{"name": "P", "url": "u"}, {"name": "p", "url": "u"}])",
         "port 2 has a name that an earlier one has"},
        {R"("ports": [{"name": "P", "url": "u", "template": "t"}])",
         "port 1 names the template \"t\""},
        {R"("ports": [{"name": "P", "url": "u", "job-template": {"colour": 1}}])",
         "port 1, job-template has the unknown attribute"},
        {R"("ports": [{"name": "P", "url": "u", "job-template": []}])", "must be an object"},
        {R"("ports": [{"name": "P\u0000", "url": "u"}])", "NUL"},
        {R"("ports": [{"name": "\u4e2d", "url": "u"}])", "code page"},
        {R"("defaults": {"media": "A4"})", "defaults has the unknown key \"media\""},
        {R"("defaults": {"job-template": {"copies": "x"}})", "\"copies\" cannot be"},
        {R"("templates": [])", "templates must be an object"},
        {R"("templates": {"": {}})", "empty name"},
        {R"("templates": {"t": {"job-template": {"copies": "x"}}})",
         "template \"t\", job-template"},
        {R"("templates": {"t": {"template": "u"}})", "template \"t\" names the template \"u\""},
        {R"("templates": {"t": {"template": "t"}})", "template \"t\" leads back to itself"},
        {R"("templates": {"a": {"template": "b"}, "b": {"template": "c"},
                          "c": {"template": "b"}})",
         "leads back to itself"},
        {R"("templates": {"t": {"media": "A4"}})",
         "template \"t\" has the unknown key \"media\" (known: template, job-template)"},
        {R"("groups": {"A": {"printers": {"P": {"url": "u", "port": 1}}}})",
         "unknown key \"port\" (known: url, user, password)"},
        {R"("queues": [{"name": "Q", "port": "P", "driver": "D", "x": 1}])",
         "unknown key \"x\" (known: name, port, driver, share, location, comment)"},
        {R"("queues": [{"name": "", "port": "P", "driver": "D"}])", "queue 1 has an empty name"},
        {R"("queues": [{"name": "Q", "port": "", "driver": "D"}])", "has an empty \"port\""},
        {R"("groups": {"A//B": {}})", "has an empty name"},
        {R"("groups": {"": {}})", "has an empty name"},
        {R"("groups": {"A/": {}})", "has an empty name"},
        {R"("groups": {"#5": {}})", "begins with #"},
        {R"("groups": {"A": 1})", "groups \"A\" must be an object"},
        {R"("groups": {"A": {"url": "x"}})", "unknown key \"url\" (known: printers, groups)"},
        {R"("groups": {"A": {"groups": {"/": {}}}})", "is not at the top"},
        {R"("groups": {"A": {"printers": {"P": {}}}})", "groups \"A\", printer \"P\" lacks"},
        {R"("groups": {"A": {"printers": {"P": {"url": "ipp://u:p@h/"}}}})", "user name in it"},
        {R"("groups": {"A": {"printers": {"": {"url": "u"}}}})", "empty name"},
        {R"("groups": {"A": {"printers": {"P": {"url": "u"}}, "groups": {"P": {}}}})",
         "is a printer, too"},
        {R"("groups": {"/A": {"groups": {"P": {}}}, "A": {"printers": {"P": {"url": "u"}}}})",
         "is a group, too"},
        {R"("groups": {"A": {"printers": {"P": {"url": "u"}}},
                       "/A": {"printers": {"P": {"url": "u"}}}})",
         "is there twice"},
        {R"("queues": [{"name": "Q", "port": "P"}])", "queue 1 lacks \"driver\""},
        {R"("queues": [{"name": "Q", "port": "P", "driver": ""}])", "empty \"driver\""},
        {R"("queues": [{"name": "Q,R", "port": "P", "driver": "D"}])", "comma"},
        {R"("queues": [{"name": "Q", "port": "P", "driver": "D", "share": "a\\b"}])", "share"},
        {R"("queues": [{"name": "Q", "port": "P", "driver": "D"},
                       {"name": "q", "port": "P", "driver": "D"}])",
         "queue 2 has a name that an earlier one has"},
        {R"("ports": [], "ports": [])", "has the key \"ports\" twice in one object"},
        {R"("ports": [{"name": "P", "name": "Q", "url": "u"}])", "has the key \"name\" twice"},
    };
    for (const Case& one : cases) {
        EXPECT_THAT(refusal({{"", file(one.keys)}}), HasSubstr(one.message)) << one.keys;
    }
}

TEST(Description, TheSameKeyInTwoObjectsIsNotTwice) {
    EXPECT_EQ(
        read(R"("ports": [{"name": "P", "url": "u"}, {"name": "Q", "url": "u"}])").ports.size(),
        2U);
}

TEST(Description, DeepAndLargeFilesEnd) {
    std::string open, shut;
    for (int i = 0; i < 10'000; ++i) {
        open += R"({"groups":{"g":)";
        shut += "}}";
    }
    EXPECT_THAT(refusal({{"", file(R"("groups":{"g":)" + open + "{}" + shut + "}")}}),
                HasSubstr("is nested deeper than 256 levels"));
    EXPECT_THAT(refusal({{"", std::string(10'000, '[')}}), HasSubstr("deeper"));
    const auto nested = [](std::size_t levels) {
        return std::string(levels, '[') + std::string(levels, ']');
    };
    EXPECT_NO_THROW(parseFile(nested(257))) << "256 inside the outermost";
    EXPECT_THROW(parseFile(nested(258)), FileError);
    // Reading a long chain, and finding its circle, takes time in proportion to its length.
    std::string chain;
    for (int i = 0; i < 300; ++i) {
        chain += (i == 0 ? "\"t" : ",\"t") + std::to_string(i) + R"(":{"template":"t)" +
                 std::to_string(i + 1) + "\"}";
    }
    EXPECT_EQ(refusal({{"", file(R"("templates":{)" + chain + R"(,"t300":{}})")}}), "none");
    EXPECT_THAT(refusal({{"", file(R"("templates":{)" + chain + R"(,"t300":{"template":"t0"}})")}}),
                HasSubstr("leads back to itself"));
    EXPECT_THAT(refusal({{"", file(R"("groups":{")" + std::string(256, 'g') + R"(":{}})")}}),
                HasSubstr("longer than 255 bytes"));
    EXPECT_EQ(refusal({{"", file(R"("groups":{")" + std::string(255, 'g') + R"(":{}})")}}), "none");
}

TEST(Description, ObjectsHaveALimit) {
    EXPECT_EQ(parseFile(R"({"a":1,"b":{"c":1,"d":1},"e":[{"f":1},{"f":1}]})", 3).size(), 3U);
    for (const char* const text :
         {R"({"a":1,"b":1,"c":1,"d":1})", R"([{"a":{},"b":1,"c":1,"d":1}])"}) {
        EXPECT_THROW(parseFile(text, 3), FileError) << text;
    }
}

TEST(Description, EveryTruncatedFileIsRefused) {
    const std::string whole = file(R"("defaults": {"job-template": {"copies": 2}},
        "groups": {"A/B": {"printers": {"P": {"url": "ipp://p/", "user": "u"}}}},
        "ports": [{"name": "P", "groups": ["A/B"]}],
        "queues": [{"name": "Q", "port": "P", "driver": "D"}])");
    ASSERT_EQ(refusal({{"", whole}}), "none");
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_NE(refusal({{"", whole.substr(0, length)}}), "none") << length;
    // With one byte changed the file is refused or read; nothing worse happens.
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const char byte : {'\0', '"', '{', '}', ',', '0', '\xFF'}) {
            std::string other = whole;
            other[at] = byte;
            refusal({{"", other}});
        }
    }
}

PortConfig port(const std::string& name) {
    PortConfig config;
    config.name = name;
    config.singleTarget = 1;
    config.printer = {"ipp://" + name + "/", 1, "u", "secret"};
    return config;
}

/// A fleet whose records also hold values that dialogs leave in them and a description does not
/// cover.
struct Fleet {
    Fleet() {
        const std::uint32_t floor = directory.AddGroup("Floor", kRootGroup)->id;
        const std::uint32_t left = directory.AddGroup("Left", floor)->id;
        directory.AddPrinter("Sales", {"ipp://s/", true, "u", "secret"}, left);
        directory.AddPrinter("Hall", {"ipp://h/", false, "", ""}, kRootGroup);
        ports = {port("Z"), port("A"), port("M"), port("G")};
        ports[0].targetIds = {floor};
        ports[1].jobTemplate.copies = 4;
        ports[2].printer.useAuthentication = 0;
        ports[3].singleTarget = 0;
        ports[3].targetIds = {left, 99};
    }

    Json described(bool withPasswords) const {
        const std::vector<QueueDescription> queues = {{"R", "Z", "D", "", "", ""},
                                                      {"Q", "A", "D", "s", "l", "c"}};
        return describe(ports, directory, &queues, withPasswords, latin1Codec());
    }

    CGroupsDB directory = emptyDirectory();
    std::vector<PortConfig> ports;
};

TEST(Description, IsSortedAndSaysOnlyWhatIsNoDefault) {
    const Json json = Fleet().described(false);
    EXPECT_EQ(json.dump(), R"({"format":"velmora-configuration","version":2,"groups":{)"
                           R"("/":{"printers":{"Hall":{"url":"ipp://h/"}}},)"
                           R"("Floor":{},"Floor/Left":{"printers":{)"
                           R"("Sales":{"url":"ipp://s/","user":"u"}}}},)"
                           R"("ports":[{"name":"A","url":"ipp://A/","user":"u",)"
                           R"("job-template":{"copies":4}},)"
                           R"({"name":"G","groups":["Floor/Left"]},)"
                           R"({"name":"M","url":"ipp://M/"},)"
                           R"({"name":"Z","url":"ipp://Z/","user":"u"}],)"
                           R"("queues":[{"name":"Q","port":"A","driver":"D","share":"s",)"
                           R"("location":"l","comment":"c"},)"
                           R"({"name":"R","port":"Z","driver":"D"}]})");
    Fleet turned;
    std::swap(turned.ports[0], turned.ports[3]);
    EXPECT_EQ(turned.described(false), json);
    EXPECT_THAT(json.dump(), Not(HasSubstr("secret")));
    const Json whole = Fleet().described(true);
    EXPECT_EQ(whole["ports"][0]["password"], "secret");
    EXPECT_EQ(whole["groups"]["Floor/Left"]["printers"]["Sales"].dump(),
              R"({"url":"ipp://s/","user":"u","password":"secret"})");
    PortConfig nowhere;
    nowhere.name = "N";
    EXPECT_EQ(describe({nowhere}, emptyDirectory(), nullptr, true, latin1Codec()).dump(),
              R"({"format":"velmora-configuration","version":2,"groups":{},)"
              R"("ports":[{"name":"N","groups":[]}]})");
}

TEST(Description, DescribingWhatIsThereChangesNothing) {
    for (const bool withPasswords : {true, false}) {
        const Fleet fleet;
        Configuration wanted = readConfiguration(fleet.described(withPasswords).dump(),
                                                 fleet.directory, latin1Codec());
        // What a description cannot hold: the number of a group that is gone.
        std::vector<PortConfig> stored = fleet.ports;
        stored[3].targetIds = {stored[3].targetIds[0]};
        const ConfigurationPlan plan =
            planImport(wanted, stored, fleet.directory, {true, true, true, true}, latin1Codec());
        EXPECT_THAT(words(plan), IsEmpty());
        EXPECT_THAT(plan.warnings, IsEmpty());
    }
}

TEST(Description, ComesWholeIntoAnEmptySystem) {
    const Fleet fleet;
    Configuration wanted =
        readConfiguration(fleet.described(true).dump(), emptyDirectory(), latin1Codec());
    const ConfigurationPlan plan = planImport(wanted, {}, emptyDirectory(), {}, latin1Codec());
    EXPECT_THAT(words(plan), ElementsAre("add printer \"Hall\"", "add group \"Floor\"",
                                         "add group \"Floor/Left\"",
                                         "add printer \"Floor/Left/Sales\"", "add port \"A\"",
                                         "add port \"G\"", "add port \"M\"", "add port \"Z\""));
    const CGroupsDBNode* const left = findNode(*plan.grown, "Floor/Left");
    ASSERT_NE(left, nullptr);
    EXPECT_THAT(plan.portsToAdd[1].targetIds, ElementsAre(left->id));
}

TEST(Description, GroupsKeepTheirNumbersAndOthersGoOnRequest) {
    Fleet fleet;
    fleet.ports.resize(1);
    fleet.ports[0].targetIds.clear();
    Configuration wanted = read(R"("groups": {"Floor": {}, "New": {}}, "ports": [
        {"name": "Z", "groups": ["Floor", "New"]}])",
                                fleet.directory);
    const ConfigurationPlan plan =
        planImport(wanted, fleet.ports, fleet.directory, {true, true, true, false}, latin1Codec());
    const CGroupsDBNode* const floor = findNode(*plan.pruned, "Floor");
    ASSERT_NE(floor, nullptr);
    EXPECT_EQ(floor->id, findNode(fleet.directory, "Floor")->id);
    EXPECT_EQ(findNode(*plan.pruned, "Floor/Left"), nullptr);
    EXPECT_EQ(findNode(*plan.pruned, "Hall"), nullptr);
    EXPECT_THAT(plan.portsToChange[0].targetIds,
                ElementsAre(floor->id, findNode(*plan.pruned, "New")->id));
    EXPECT_EQ(plan.portsToChange[0].printer.url, "");
}

TEST(Description, WhatHasNoClearPathIsRefused) {
    const auto refused = [](const CGroupsDB& directory) {
        try {
            describe({}, directory, nullptr, false, latin1Codec());
        } catch (const FileError& error) {
            return std::string(error.what());
        }
        return std::string("none");
    };
    CGroupsDB slash = emptyDirectory();
    slash.AddGroup("A/B", kRootGroup);
    EXPECT_THAT(refused(slash), HasSubstr("the group #2 (\"A/B\") has no path that is clear"));
    CGroupsDB twice = emptyDirectory();
    twice.AddPrinter("P", {"ipp://1/", false, "", ""}, kRootGroup);
    twice.AddPrinter("P", {"ipp://2/", false, "", ""}, kRootGroup);
    EXPECT_THAT(refused(twice), HasSubstr("the printer #3"));
    EXPECT_EQ(refused(emptyDirectory()), "none");
    CGroupsDB unnamed = emptyDirectory();
    unnamed.AddPrinter("", {"ipp://1/", false, "", ""}, kRootGroup);
    EXPECT_THAT(refused(unnamed), HasSubstr("the printer #2 (\"\") has no name"));
}

}  // namespace
}  // namespace velmora::ctl
