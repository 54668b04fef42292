#include "velmoractl/text/table.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace velmora::ctl {
namespace {

constexpr Column kColumns[] = {{"name", "NAME"}, {"id", "NUMBER"}, {"urls", "URLS"}};

Json rows() {
    return {{{"name", "b"}, {"id", 2}, {"urls", {"x", "y,z"}}},
            {{"name", "A \"q\""}, {"id", 10}, {"urls", Json::array()}}};
}

TEST(Table, ColumnsAreAsWideAsTheirLongestValue) {
    EXPECT_EQ(tableText(kColumns, rows(), true),
              "NAME   NUMBER  URLS\n"
              "b      2       x, y,z\n"
              "A \"q\"  10\n");
    EXPECT_EQ(tableText(kColumns, rows(), false), "b      2   x, y,z\nA \"q\"  10\n");
}

TEST(Table, ColumnsCountCharactersNotBytes) {
    const Json table = {{{"name", "B\xC3\xBCro"}, {"id", 1}, {"urls", ""}},
                        {{"name", "\xE6\x9D\xB1"}, {"id", 2}, {"urls", ""}}};
    EXPECT_EQ(tableText(kColumns, table, false), "B\xC3\xBCro  1\n\xE6\x9D\xB1     2\n");
}

TEST(Table, CsvQuotesWhatSeparates) {
    EXPECT_EQ(csvText(kColumns, rows()),
              "name,id,urls\r\nb,2,\"x;y,z\"\r\n\"A \"\"q\"\"\",10,\r\n");
}

TEST(Table, NamesAreOneALine) {
    EXPECT_EQ(namesText("name", rows()), "b\nA \"q\"\n");
}

TEST(Table, RowsAreSortedByTextWithoutCaseOrByNumber) {
    Json sorted = rows();
    sortRows(sorted, "name");
    EXPECT_EQ(sorted[0]["id"], 10);
    sortRows(sorted, "id");
    EXPECT_EQ(sorted[0]["id"], 2);
}

TEST(Table, RowsThatAreAlikeKeepTheirOrder) {
    const auto order = [](Json rows, const char* key) {
        sortRows(rows, key);
        return namesText("id", rows);
    };
    const Json texts = {
        {{"n", "AZ"}, {"id", 1}}, {{"n", "az"}, {"id", 2}}, {{"n", "Az"}, {"id", 3}}};
    EXPECT_EQ(order(texts, "n"), "1\n2\n3\n");
    const Json numbers = {{{"n", 7}, {"id", 1}}, {{"n", 7}, {"id", 2}}, {{"n", 7}, {"id", 3}}};
    EXPECT_EQ(order(numbers, "n"), "1\n2\n3\n");
}

TEST(Table, CaseIsThatOfLettersAlone) {
    // "[" is between the capital and the small letters, "@" in front of both.
    Json rows = {{{"n", "b"}}, {{"n", "["}}, {{"n", "A"}}, {{"n", "@"}}, {{"n", "Z"}}};
    sortRows(rows, "n");
    EXPECT_EQ(namesText("n", rows), "@\n[\nA\nb\nZ\n");
}

TEST(Table, RowsWithAndWithoutATextAreSorted) {
    Json rows = {{{"n", "b"}, {"id", 1}}, {{"n", 5}, {"id", 2}}, {{"id", 3}}};
    sortRows(rows, "n");
    EXPECT_EQ(namesText("id", rows), "3\n2\n1\n");
}

TEST(Table, FlagsAreWords) {
    const Json rows = {{{"name", true}}, {{"name", false}}};
    EXPECT_EQ(namesText("name", rows), "true\nfalse\n");
}

TEST(Table, FlagsAndWhatIsAbsentAreShown) {
    const Json flags = {{{"name", true}, {"id", false}, {"urls", nullptr}},
                        {{"name", {true, 2}}, {"urls", "x"}}};
    EXPECT_EQ(tableText(kColumns, flags, false), "true     false\ntrue, 2         x\n");
    EXPECT_EQ(csvText(kColumns, flags), "name,id,urls\r\ntrue,false,\r\ntrue;2,,x\r\n");
}

TEST(Table, WhatAPrinterSentIsSafeToShow) {
    const Json hostile = {{{"name", "\x1b[2J"}, {"id", 1}}};
    EXPECT_EQ(tableText(kColumns, hostile, false), "\\x1b[2J  1\n");
    EXPECT_EQ(namesText("name", hostile), "\\x1b[2J\n");
}

}  // namespace
}  // namespace velmora::ctl
