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

TEST(Table, WhatAPrinterSentIsSafeToShow) {
    const Json hostile = {{{"name", "\x1b[2J"}, {"id", 1}}};
    EXPECT_EQ(tableText(kColumns, hostile, false), "\\x1b[2J  1\n");
    EXPECT_EQ(namesText("name", hostile), "\\x1b[2J\n");
}

}  // namespace
}  // namespace velmora::ctl
