#include "velmoractl/text/ports_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "directory/groups_db.h"
#include "harness/latin1_codec.h"
#include "port/port_config.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/configuration_versions.h"
#include "velmoractl/text/directory_paths.h"

namespace velmora::ctl {
namespace {

using testing::latin1Codec;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

using Fields = std::vector<std::vector<std::string>>;

Fields fields(const std::string& text) {
    Fields result;
    for (const CsvLine& line : parseCsv(text))
        result.push_back(line.fields);
    return result;
}

std::string refusal(const std::string& text) {
    try {
        readPortsTable(text);
    } catch (const FileError& error) {
        return error.what();
    }
    return "none";
}

TEST(Csv, FieldsAreReadAsRfc4180Says) {
    struct Case {
        const char* text;
        Fields fields;
    };
    const Case cases[] = {
        {"", {}},
        {"a", {{"a"}}},
        {"a,b\r\nc,d\r\n", {{"a", "b"}, {"c", "d"}}},
        {"a,b\nc,d", {{"a", "b"}, {"c", "d"}}},
        {"a,b\rc,d\r", {{"a", "b"}, {"c", "d"}}},
        {"a,\n,b\n", {{"a", ""}, {"", "b"}}},
        {"\"a,b\",\"c\"\"d\"\n", {{"a,b", "c\"d"}}},
        {"\"a\nb\",c\n", {{"a\nb", "c"}}},
        {"\"\",x\n", {{"", "x"}}},
        {"\n\na,b\n,\n\n", {{"a", "b"}}},
        {"a;b\nc,d;e\n", {{"a", "b"}, {"c,d", "e"}}},
        {"a\tb\nc\td\n", {{"a", "b"}, {"c", "d"}}},
    };
    for (const Case& one : cases)
        EXPECT_EQ(fields(one.text), one.fields) << one.text;
}

TEST(Csv, LinesAreCountedThroughQuotes) {
    const std::vector<CsvLine> lines = parseCsv("a\n\n\"b\nb\"\nc\n");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1].number, 3U);
    EXPECT_EQ(lines[2].number, 5U);
}

TEST(Csv, WhatIsWrongIsToldWithItsLine) {
    EXPECT_THAT(refusal("name\n\"a"), HasSubstr("line 2 has a quote that is not closed"));
    EXPECT_THAT(refusal("name\n\"a\"b"), HasSubstr("line 2 has text after a closing quote"));
    EXPECT_THAT(refusal("name\na\"b"), HasSubstr("line 2 has a quote inside a field"));
}

TEST(PortsTable, ColumnsAreNamed) {
    const DescriptionPart part = readPortsTable(
        "\xEF\xBB\xBF Name ;URL;user;copies;groups;queue;driver;location\r\n"
        "Office;ipp://o/;u;3;;Office printer;Generic PS;Room 1\r\n"
        "\r\n"
        "All;;;;Floor/Left; ;;\r\n"
        "Both;;;;\"Floor; Hall ;;a\"\r\n");
    EXPECT_EQ(
        part.json.dump(),
        R"({"ports":[{"name":"Office","url":"ipp://o/","user":"u",)"
        R"("job-template":{"copies":"3"}},)"
        R"({"name":"All","groups":["Floor/Left"]},{"name":"Both","groups":["Floor","Hall","a"]}],)"
        R"("queues":[{"name":"Office printer","driver":"Generic PS","location":"Room 1",)"
        R"("port":"Office"}]})");
    EXPECT_THAT(part.lines, ElementsAre(2U, 4U, 5U));
    EXPECT_THAT(part.queueLines, ElementsAre(2U));
}

TEST(PortsTable, WithoutQueueColumnsNothingIsSaidAboutQueues) {
    EXPECT_FALSE(readPortsTable("name,url\nP,ipp://p/\n").json.contains("queues"));
    EXPECT_TRUE(readPortsTable("name,url,queue\nP,ipp://p/,\n").json.contains("queues"));
}

TEST(PortsTable, WhatIsWrongIsTold) {
    EXPECT_THAT(refusal(""), HasSubstr("is empty"));
    EXPECT_THAT(refusal("url\nipp://p/\n"), HasSubstr("lacks the column \"name\""));
    EXPECT_THAT(refusal("name,colour\n"), HasSubstr("unknown column \"colour\" (known: name, url"));
    EXPECT_THAT(refusal("name,URL,url\n"), HasSubstr("the column \"url\" twice"));
    EXPECT_THAT(refusal("name,url\nP,ipp://p/,x\n"), HasSubstr("line 2 has more fields"));
    EXPECT_THAT(refusal("name,url\n,ipp://p/\n"), HasSubstr("line 2 has no name"));
    EXPECT_THAT(refusal("name,driver\nP,D\n"), HasSubstr("line 2 describes a queue without"));
    EXPECT_THAT(refusal("name\n\xE4\n"), HasSubstr("line 2 has characters that are not UTF-8"));
}

TEST(PortsTable, AnythingEnds) {
    const std::string whole = "name,url,groups\n\"A \"\"1\"\"\",ipp://a/,\nB,,\"x;y\"\r\n";
    ASSERT_EQ(refusal(whole), "none");
    for (std::size_t length = 0; length <= whole.size(); ++length)
        refusal(whole.substr(0, length));
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const char byte : {'\0', '"', ',', ';', '\n', '\r', '\xFF'}) {
            std::string other = whole;
            other[at] = byte;
            refusal(other);
        }
    }
    refusal(std::string(50'000, ','));
    refusal("name\n" + std::string(50'000, '\n'));
}

TEST(PortsTable, WhatIsWrittenIsRead) {
    CGroupsDB directory;
    auto root = std::make_unique<CGroupsDBGroup>();
    root->id = kRootGroup;
    directory.Insert(std::move(root));
    directory.AddGroup("Floor, left", kRootGroup);
    std::vector<PortConfig> ports(3);
    ports[0].name = "Z \"1\"";
    ports[0].targetIds = {2, kRootGroup};
    ports[1].name = "B\xFCro";
    ports[1].singleTarget = 1;
    ports[1].printer = {"ipp://b/", 1, "u", "secret"};
    ports[1].jobTemplate.copies = 9;
    ports[1].jobTemplate.pageRanges = "1-3,5";
    ports[2].name = "C";
    ports[2].singleTarget = 1;
    ports[2].printer.url = "ipp://c/";
    for (const bool withPasswords : {true, false}) {
        const std::string table = portsTable(ports, directory, withPasswords, latin1Codec());
        EXPECT_THAT(table, StartsWith("\xEF\xBB\xBFname,url,groups,user,"));
        EXPECT_EQ(table.find("secret") != std::string::npos, withPasswords);
        const Fields rows = fields(table);
        ASSERT_EQ(rows.size(), 4u);
        EXPECT_EQ(rows[1].front(), "B\xC3\xBCro") << "sorted by name";
        EXPECT_EQ(rows[2].front(), "C");
        EXPECT_EQ(rows[3].front(), "Z \"1\"");
        Configuration wanted = readConfiguration({{"", table, true}}, directory, latin1Codec());
        const ConfigurationPlan plan =
            planImport(wanted, ports, directory, {.ports = true}, latin1Codec());
        EXPECT_THAT(plan.changes, IsEmpty());
    }
}

TEST(PortsTable, WithoutPortsItIsATemplateToStartFrom) {
    const std::string table = portsTable({}, CGroupsDB(), false, latin1Codec());
    EXPECT_THAT(table, StartsWith("name,url,groups,user,job-priority,"));
    EXPECT_EQ(refusal(table), "none");
    EXPECT_THAT(table, Not(HasSubstr("password")));
    EXPECT_EQ(fields(table).size(), 1u);
}

}  // namespace
}  // namespace velmora::ctl
