#include "velmoractl/text/server_list.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace velmora::ctl {
namespace {

using Words = std::vector<std::string>;

TEST(ServerList, NamesComeFromOneTextOrFromAFileWithOneALine) {
    EXPECT_EQ(serverNames("A"), (Words{"A"}));
    EXPECT_EQ(serverNames("A, \\\\B,,a,b.example"), (Words{"A", "B", "b.example"}));
    EXPECT_EQ(serverNames("# all of them\r\nA\r\n\r\n  B  \r\nC,D"), (Words{"A", "B", "C", "D"}));
    EXPECT_EQ(serverNames(std::string_view("\xFF\xFE"
                                           "A\0\r\0\n\0B\0",
                                           10)),
              (Words{"A", "B"}));
    EXPECT_TRUE(serverNames(" ,\n#\n").empty());
    EXPECT_EQ(serverNames("A, B ,\\C,\\\\\\D"), (Words{"A", "B", "C", "D"}));
    EXPECT_EQ(serverNames("AZ,az,@,[,`,{"), (Words{"AZ", "@", "[", "`", "{"}))
        << "letters alone are large or small";
    EXPECT_EQ(serverNames("A\x01"), (Words{"A\x01"})) << "left to Windows, which refuses it";
}

TEST(ServerList, EachServerGetsTheWordsWithItsName) {
    EXPECT_EQ(wordsForServer({"export", "--server", "A,B", "C:\\{server}-{server}.json"}, "B"),
              (Words{"--server", "B", "export", "C:\\B-B.json"}));
    EXPECT_EQ(wordsForServer({"--server=@f", "port", "list"}, "{server}"),
              (Words{"--server", "{server}", "port", "list"}));
    // What a server's name holds is not replaced once more.
    EXPECT_EQ(wordsForServer({"12345678{server}9{server}"}, "{server}"),
              (Words{"--server", "{server}", "12345678{server}9{server}"}));
}

TEST(ServerList, WordsAreTakenApartAsTheyWere) {
    EXPECT_EQ(joinedWords({"a", "b c", "", "d\"e", "f\\", "g h\\", "i\\\"j"}),
              "a \"b c\" \"\" \"d\\\"e\" f\\ \"g h\\\\\" \"i\\\\\\\"j\"");
}

TEST(ServerList, TheWorstCodeIsTheOneThatSaysMost) {
    EXPECT_EQ(worse(ExitCode::done, ExitCode::restartNeeded), ExitCode::restartNeeded);
    EXPECT_EQ(worse(ExitCode::different, ExitCode::failed), ExitCode::failed);
    EXPECT_EQ(worse(ExitCode::failed, ExitCode::different), ExitCode::failed);
    EXPECT_EQ(worse(ExitCode::notFound, ExitCode::printerProblem), ExitCode::notFound);
    EXPECT_EQ(worse(ExitCode::done, ExitCode::done), ExitCode::done);
}

constexpr Column kColumns[] = {{"name", "PORT"}, {"mode", "MODE"}};

std::vector<ServerResult> lists() {
    const Json rows = {{{"name", "P"}, {"mode", "single"}}};
    return {{"A", ExitCode::done, listForWhole(kColumns, "name", "There are none.", rows), ""},
            {"BB", ExitCode::done, listForWhole(kColumns, "name", "There are none.", Json::array()),
             ""},
            {"C", ExitCode::failed, "", "velmoractl: port list: why; what to do\n"}};
}

TEST(ServerList, ListsBecomeOneTable) {
    EXPECT_EQ(combinedText(lists(), "", true),
              "SERVER  PORT  MODE\nA       P     single\nBB: There are none.\n");
    EXPECT_EQ(combinedText(lists(), "csv", true), "server,name,mode\r\nA,P,single\r\n");
    EXPECT_EQ(combinedText(lists(), "names", true), "A: P\n");
    EXPECT_EQ(combinedErrors(lists()), "velmoractl: C: port list: why; what to do\n");
}

TEST(ServerList, AListForTheWholeIsALineOfAscii) {
    const Json rows = {{{"name", "B\xC3\xBCro"}, {"mode", "\xFF"}}};
    EXPECT_EQ(listForWhole(kColumns, "name", "none", rows),
              "\x1e{\"columns\":[[\"name\",\"PORT\"],[\"mode\",\"MODE\"]],"
              "\"name-key\":\"name\",\"empty\":\"none\","
              "\"rows\":[{\"name\":\"B\\u00fcro\",\"mode\":\"\\ufffd\"}]}\n");
}

TEST(ServerList, WhatIsNoListStaysText) {
    std::vector<ServerResult> results = lists();
    results[1].output = "\x1e{\"columns\":\nbroken\n";
    results[2].output = "Nothing to do.\n";
    EXPECT_EQ(combinedText(results, "", true),
              "SERVER  PORT  MODE\nA       P     single\nBB: \x1e{\"columns\":\nBB: broken\n"
              "C: Nothing to do.\n");
}

TEST(ServerList, LinesHaveTheirServersName) {
    const std::vector<ServerResult> results = {
        {"A", ExitCode::done, "Port has been added.\r\n  media: A4\n",
         "velmoractl: warning: careful\n"},
        {"B", ExitCode::done, "Done.", ""}};
    EXPECT_EQ(combinedText(results, "", true),
              "A: Port has been added.\nA:   media: A4\nB: Done.\n");
    EXPECT_EQ(combinedErrors(results), "velmoractl: warning: A: careful\n");
}

TEST(ServerList, ScriptsGetAnObjectAServer) {
    const std::vector<ServerResult> results = {
        {"A", ExitCode::done, "{\"name\": \"P\"}\n", ""},
        {"B", ExitCode::failed, "{\"error\": {\"code\": \"time-out\"}}\n", "velmoractl: x\n"},
        {"C", ExitCode::done, "{\"a\": 1}\n{\"a\": 2}\n", ""}};
    EXPECT_EQ(combinedJson(results),
              (Json{{{"server", "A"}, {"exit-code", 0}, {"answer", {{"name", "P"}}}},
                    {{"server", "B"}, {"exit-code", 1}, {"error", {{"code", "time-out"}}}},
                    {{"server", "C"}, {"exit-code", 0}, {"answer", {{{"a", 1}}, {{"a", 2}}}}}}));
    EXPECT_EQ(combinedJson({{"A", ExitCode::done, "{\"a\": 1}\nno JSON\n{\"a\": 2}\n", ""}}),
              (Json{{{"server", "A"}, {"exit-code", 0}, {"answer", {{{"a", 1}}, {{"a", 2}}}}}}));
}

}  // namespace
}  // namespace velmora::ctl
