#include "velmoractl/text/fleet_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "harness/latin1_codec.h"
#include "ipp/job_template.h"
#include "velmoractl/text/fleet_list.h"

namespace velmora::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

using State = FleetResult::State;
using Outcome = JobCheck::Outcome;

void add(IppMessage& message, const char* name, std::vector<const char*> values) {
    const int index = IppAttributeNames::indexOf(name);
    if (index < 0) values.insert(values.begin(), name);
    addIppAttribute(message, IppGroup::printer, 0, newKeywordAttribute(index, values));
}

PrintTarget printerAt(const std::string& url) {
    return {url, 0, "", ""};
}

JobTemplate copies(std::uint32_t count) {
    JobTemplate job;
    job.copies = count;
    return job;
}

JobCheck outcome(Outcome which, const std::string& keyword = {}) {
    JobCheck check;
    check.outcome = which;
    check.words = keyword;
    if (!keyword.empty()) check.problem = PrinterProblem{keyword, keyword, "do something"};
    return check;
}

FleetResult resultWith(std::vector<JobCheck> checks) {
    FleetResult result;
    result.url = "ipp://p/";
    for (JobCheck& one : checks)
        result.checks.push_back({{"Port " + std::to_string(result.checks.size())}, one});
    return result;
}

TEST(FleetReport, APrinterIsAskedOnceForEachTemplateOfItsPorts) {
    FleetList list;
    list.add(printerAt("ipp://a/"), copies(1), "One");
    list.add(printerAt("ipp://b/"), copies(1), "One");
    list.add(printerAt("ipp://a/"), copies(1), "Two");
    list.add(printerAt("ipp://a/"), copies(2), "Three");
    list.add(printerAt("ipp://a/"), copies(1), "Two");
    const std::vector<FleetPrinter> printers = list.printers();
    ASSERT_EQ(printers.size(), 2u);
    ASSERT_EQ(printers[0].uses.size(), 2u);
    EXPECT_THAT(printers[0].ports(), ElementsAre("One", "Two", "Three"));
    EXPECT_THAT(printers[0].uses[0].ports, ElementsAre("One", "Two"));
    EXPECT_THAT(printers[0].uses[1].ports, ElementsAre("Three"));
    EXPECT_EQ(printers[0].uses[1].job->copies, 2u);
}

TEST(FleetReport, APrinterWithoutAPortIsAskedAboutANewPortsTemplate) {
    FleetList list;
    list.add(printerAt("ipp://a/"));
    list.add(printerAt("ipp://b/"));
    list.add(printerAt("ipp://b/"), copies(3), "Port");
    const std::vector<FleetPrinter> printers = list.printers();
    ASSERT_EQ(printers.size(), 2u);
    ASSERT_EQ(printers[0].uses.size(), 1u);
    EXPECT_EQ(*printers[0].uses[0].job, JobTemplate());
    EXPECT_THAT(printers[0].uses[0].ports, IsEmpty());
    ASSERT_EQ(printers[1].uses.size(), 1u);
    EXPECT_EQ(printers[1].uses[0].job->copies, 3u);
}

TEST(FleetReport, AnotherUserMakesAnotherPrinterUnlessNoneIsUsed) {
    FleetList list;
    list.add({"ipp://a/", 1, "u", "p"});
    list.add({"ipp://a/", 1, "u", "q"});
    list.add({"ipp://a/", 0, "u", "q"});
    list.add({"ipp://a/", 0, "", ""});
    EXPECT_EQ(list.printers().size(), 3u);
    list.add({"ipp://a/", 0, "other", "r"});
    EXPECT_EQ(list.printers().size(), 3u);
    list.add({"ipp://a/", 1, "v", "q"});
    EXPECT_EQ(list.printers().size(), 4u);
}

TEST(FleetReport, TheWorstAnswerDecides) {
    EXPECT_EQ(resultWith({outcome(Outcome::accepted)}).state(), State::ready);
    EXPECT_EQ(resultWith({outcome(Outcome::accepted), outcome(Outcome::unknown)}).state(),
              State::unknown);
    EXPECT_EQ(resultWith({outcome(Outcome::refused), outcome(Outcome::unknown)}).state(),
              State::refused);
    EXPECT_EQ(resultWith({outcome(Outcome::failed, "time-out"), outcome(Outcome::refused)}).state(),
              State::unreachable);
    EXPECT_EQ(resultWith({outcome(Outcome::failed, "authentication-required")}).state(),
              State::refused);
    FleetResult closed = resultWith({outcome(Outcome::accepted)});
    closed.accepting = false;
    EXPECT_EQ(closed.state(), State::refused);
    FleetResult silent;
    silent.problem = PrinterProblem{"no-connection", "nothing answers", "check"};
    EXPECT_EQ(silent.state(), State::unreachable);
    silent.problem->keyword = "wrong-path";
    EXPECT_EQ(silent.state(), State::refused);
}

TEST(FleetReport, WhatIsNotKnownIsReadyOnRequestAlone) {
    FleetResult result = resultWith({outcome(Outcome::unknown)});
    EXPECT_FALSE(isReady(result, false));
    EXPECT_TRUE(isReady(result, true));
    result.accepting = false;
    EXPECT_FALSE(isReady(result, true));
    EXPECT_FALSE(isReady(resultWith({outcome(Outcome::refused)}), true));
}

TEST(FleetReport, SuppliesComeFromTheMarkers) {
    const UniqueIppMessage printer = newIppMessage();
    add(*printer, "marker-names", {"Black", "Cyan", "Waste", "Drum"});
    add(*printer, "marker-levels", {"12", "-3", "90", "101"});
    add(*printer, "marker-types", {"toner", "toner", "waste-toner", "opc"});
    EXPECT_THAT(suppliesOf(*printer),
                ElementsAre(Supply{"Black", 12}, Supply{"Cyan", {}}, Supply{"Drum", {}}));
}

TEST(FleetReport, OrFromPrinterSupply) {
    const UniqueIppMessage printer = newIppMessage();
    add(*printer, "printer-supply",
        {"index=1;class=receptacleThatIsFilled;type=wasteToner;level=25;colorantname=none;",
         "index=2;class=supplyThatIsConsumed;type=toner;maxcapacity=200;level=50;colorantname="
         "black;",
         "index=3;type=staples;maxcapacity=-2;level=-3;colorantname=none;", "nonsense", ""});
    EXPECT_THAT(suppliesOf(*printer), ElementsAre(Supply{"black", 25}, Supply{"staples", {}}));
}

TEST(FleetReport, ALevelIsAPercentageOrNotKnown) {
    const struct {
        const char* level;
        std::optional<std::int64_t> percent;
    } cases[] = {{"0", 0}, {"100", 100}, {"101", {}}, {"-1", {}},
                 {"", {}}, {"many", {}}, {"5%", {}},  {"99999999999999999999", {}}};
    for (const auto& [level, percent] : cases) {
        SCOPED_TRACE(level);
        const UniqueIppMessage markers = newIppMessage();
        add(*markers, "marker-names", {"A", "B"});
        add(*markers, "marker-levels", {level, "7"});
        add(*markers, "marker-types", {"toner"});  // a shorter list says nothing about the rest
        EXPECT_THAT(suppliesOf(*markers), ElementsAre(Supply{"A", percent}, Supply{"B", 7}));
        // printer-supply without a capacity is in percent.
        const UniqueIppMessage supply = newIppMessage();
        const std::string text = std::string("type=toner;level=") + level + ";";
        add(*supply, "printer-supply", {text.c_str()});
        EXPECT_THAT(suppliesOf(*supply), ElementsAre(Supply{"toner", percent}));
    }
    const UniqueIppMessage untyped = newIppMessage();
    add(*untyped, "marker-names", {"A", "B", "C"});
    add(*untyped, "marker-levels", {"1", "2"});
    EXPECT_THAT(suppliesOf(*untyped), ElementsAre(Supply{"A", 1}, Supply{"B", 2}));
}

TEST(FleetReport, ALevelIsAShareOfTheCapacity) {
    const struct {
        const char* level;
        const char* capacity;
        std::optional<std::int64_t> percent;
    } cases[] = {{"50", "200", 25},       {"2", "3", 66},  {"0", "1", 0},
                 {"1", "1", 100},         {"2", "1", {}},  {"0", "0", {}},
                 {"-2", "100", {}},       {"5", "-2", {}}, {"2147483647", "2147483647", 100},
                 {"5", "2147483648", {}}, {"5", "x", 5},   {"x", "5", {}}};
    for (const auto& [level, capacity, percent] : cases) {
        const UniqueIppMessage printer = newIppMessage();
        const std::string text = std::string("type=toner;maxcapacity=") + capacity +
                                 ";level=" + level + ";colorantname=black";
        add(*printer, "printer-supply", {text.c_str()});
        EXPECT_THAT(suppliesOf(*printer), ElementsAre(Supply{"black", percent})) << text;
    }
}

TEST(FleetReport, ABoxForWasteIsKnownByItsClassOrItsType) {
    const UniqueIppMessage printer = newIppMessage();
    add(*printer, "printer-supply",
        {"class=receptacleThatIsFilled;type=ink;level=1", "type=wasteInk;level=2",
         "class=supplyThatIsConsumed;type=ink;level=3"});
    EXPECT_THAT(suppliesOf(*printer), ElementsAre(Supply{"ink", 3}));
}

TEST(FleetReport, WhatThePrinterTellsIsTakenOver) {
    const UniqueIppMessage printer = newIppMessage();
    add(*printer, "printer-name", {"Office"});
    addIppAttribute(*printer, IppGroup::printer, 0, newEnumAttribute(ippName("printer-state"), 5));
    addIppAttribute(*printer, IppGroup::printer, 0,
                    newBooleanAttribute(ippName("printer-is-accepting-jobs"), false));
    add(*printer, "printer-state-reasons", {"media-jam"});
    add(*printer, "marker-names", {"Black"});
    add(*printer, "marker-levels", {"12"});
    FleetResult result;
    takeAttributes(*printer, result);
    EXPECT_EQ(result.name, "Office");
    EXPECT_EQ(result.printerState, "stopped");
    EXPECT_FALSE(result.accepting);
    EXPECT_THAT(result.supplies, ElementsAre(Supply{"Black", 12}));
    EXPECT_THAT(result.alerts, ElementsAre("media-jam"));
    takeAttributes(*newIppMessage(), result);
    EXPECT_TRUE(result.accepting) << "a printer that does not say takes jobs";
}

TEST(FleetReport, AlertsAreWhatThePrinterComplainsAbout) {
    const UniqueIppMessage printer = newIppMessage();
    add(*printer, "printer-state-reasons", {"none"});
    EXPECT_THAT(alertsOf(*printer), IsEmpty());
    add(*printer, "printer-alert-description", {"Paper jam", "Paper jam"});
    EXPECT_THAT(alertsOf(*printer), ElementsAre("Paper jam"));
}

TEST(FleetReport, ARowNamesWhatIsRefusedAndWhatIsOffered) {
    JobCheck check = outcome(Outcome::refused, "printer-refuses");
    check.attributes = {{"media", {"A4"}, {"iso_a4_210x297mm", "na_letter_8.5x11in"}}};
    FleetResult result = resultWith({check});
    result.ports = {"A", "B", "C", "D"};
    result.supplies = {{"black", 40}, {"cyan", 7}, {"drum", {}}};
    result.certificate.known = true;
    result.certificate.daysLeft = 12;
    const Json row = toRow(result, 3, velmora::testing::latin1Codec());
    EXPECT_EQ(row["state"], "refused");
    EXPECT_EQ(row["ports"], "A, B, C and 1 more");
    EXPECT_EQ(row["supply"], "cyan 7 %");
    EXPECT_EQ(row["certificate-days"], 12);
    EXPECT_EQ(row["details"],
              "media A4 is refused, it offers iso_a4_210x297mm, na_letter_8.5x11in");
}

TEST(FleetReport, SeveralTemplatesAreToldApartByTheirPorts) {
    JobCheck ignored = outcome(Outcome::accepted);
    ignored.attributes = {{"sides", {"tumble"}, {}}};
    const FleetResult result =
        resultWith({ignored, outcome(Outcome::failed, "time-out"), outcome(Outcome::accepted)});
    EXPECT_EQ(toRow(result, 3, velmora::testing::latin1Codec())["details"],
              "Port 0: sides tumble is ignored; Port 1: time-out");
}

TEST(FleetReport, TwoTemplatesAreSeveral) {
    JobCheck ignored = outcome(Outcome::accepted);
    ignored.attributes = {{"sides", {"tumble"}, {}}, {"media", {"A4"}, {"A5"}}};
    FleetResult result = resultWith({ignored, outcome(Outcome::accepted)});
    result.accepting = false;
    result.certificate.problems = {"it has ended", "it is for another host"};
    result.ports = {"A", "B", "C"};
    const Json row = toRow(result, 3, velmora::testing::latin1Codec());
    EXPECT_EQ(row["details"],
              "it takes no jobs now; Port 0: sides tumble is ignored; media A4 is ignored, it "
              "offers A5; certificate: it has ended; certificate: it is for another host");
    EXPECT_EQ(row["ports"], "A, B, C") << "as many as are named at most";
    EXPECT_EQ(row["supply"], "");
    EXPECT_TRUE(row["certificate-days"].is_null());
}

TEST(FleetReport, OfEqualSuppliesTheFirstIsNamed) {
    FleetResult result;
    result.supplies = {{"black", 40}, {"cyan", 7}, {"magenta", 7}};
    EXPECT_EQ(toRow(result, 3, velmora::testing::latin1Codec())["supply"], "cyan 7 %");
}

TEST(FleetReport, ScriptsGetAllOfIt) {
    JobCheck refused = outcome(Outcome::refused, "printer-refuses");
    refused.status = 0x040B;
    refused.attributes = {{"media", {"A4"}, {"A5", "A6"}}};
    FleetResult result = resultWith({refused, outcome(Outcome::accepted)});
    result.url = "ipps://p/";
    result.ports = {"Port 0", "Port 1"};
    result.name = "Office";
    result.printerState = "idle";
    result.supplies = {{"black", 40}, {"drum", {}}};
    result.alerts = {"toner-low"};
    result.certificate.known = true;
    result.certificate.subject = "CN=p";
    result.certificate.issuer = "CN=ca";
    result.certificate.validFrom = "2026-01-01";
    result.certificate.validUntil = "2027-01-01";
    result.certificate.daysLeft = 40;
    result.certificate.chain = {"CN=p", "CN=ca"};
    result.certificate.problems = {"not trusted"};
    EXPECT_EQ(
        toJson(result, false, velmora::testing::latin1Codec()).dump(),
        R"({"url":"ipps://p/","ready":false,"state":"refused","ports":["Port 0","Port 1"],)"
        R"("printer-name":"Office","printer-state":"idle","accepting-jobs":true,"jobs":[)"
        R"({"ports":["Port 0"],"state":"refused","status":1035,"message":"printer-refuses",)"
        R"("attributes":[{"name":"media","wanted":["A4"],"offered":["A5","A6"]}],)"
        R"("problem":{"code":"printer-refuses","message":"printer-refuses",)"
        R"("remedy":"do something"}},)"
        R"({"ports":["Port 1"],"state":"accepted","status":null,"message":"","attributes":[]}],)"
        R"("certificate":{"subject":"CN=p","issuer":"CN=ca","valid-from":"2026-01-01",)"
        R"("valid-until":"2027-01-01","days-left":40,"chain":["CN=p","CN=ca"],)"
        R"("problems":["not trusted"]},)"
        R"("supplies":[{"name":"black","percent":40},{"name":"drum","percent":null}],)"
        R"("alerts":["toner-low"]})");
    FleetResult nothing;
    nothing.url = "ipp://p/";
    EXPECT_EQ(toJson(nothing, false, velmora::testing::latin1Codec()).dump(),
              R"({"url":"ipp://p/","ready":true,"state":"ready","ports":[],"printer-name":"",)"
              R"("printer-state":"","accepting-jobs":true,"jobs":[],"supplies":[],"alerts":[]})");
}

TEST(FleetReport, AnUnreachablePrinterTellsNothingAboutItself) {
    FleetResult result;
    result.url = "ipp://user:secret@p/";
    result.problem = PrinterProblem{"time-out", "it is silent", "wait"};
    const Json json = toJson(result, false, velmora::testing::latin1Codec());
    EXPECT_EQ(json["url"], "ipp://user:***@p/");
    EXPECT_EQ(json["ready"], false);
    EXPECT_EQ(json["problem"]["code"], "time-out");
    EXPECT_TRUE(json["accepting-jobs"].is_null());
    EXPECT_FALSE(json.contains("certificate"));
    EXPECT_EQ(toRow(result, 3, velmora::testing::latin1Codec())["details"], "it is silent; wait");
}

TEST(FleetReport, LinesThatComeOneByOneAreAligned) {
    std::vector<FleetResult> printers(2);
    printers[0].url = "ipp://a/";
    printers[1].url = "ipp://longer/";
    printers[1].ports = {"One", "Two"};
    const std::vector<std::size_t> widths =
        fleetWidths(printers, 3, velmora::testing::latin1Codec());
    // "unreachable", a supply with its level and two short alerts have room; details are last.
    EXPECT_THAT(widths, ElementsAre(13, 11, 8, 9, 16, 20, 7));
    FleetResult result = resultWith({outcome(Outcome::accepted)});
    const std::string heading = tableLine(fleetColumns(), Json::object(), widths);
    const std::string line =
        tableLine(fleetColumns(), toRow(result, 3, velmora::testing::latin1Codec()), widths);
    EXPECT_EQ(heading.find("STATE"), std::string("ipp://longer/").size() + 2);
    EXPECT_EQ(line.find("ready"), heading.find("STATE"));
    EXPECT_EQ(heading.find("CERT DAYS"),
              heading.find("PORTS") + std::string("One, Two").size() + 2);
    EXPECT_THAT(line, EndsWith("\n"));
}

}  // namespace
}  // namespace velmora::ctl
