// One printer of eight misbehaves: the other seven get the whole document, and the spooler is not
// told.
#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "harness/peer.h"
#include "harness/printing.h"
#include "tests/monitor/jobs/job_test.h"

namespace velmora::testing {
namespace {

struct Fault {
    const char* name;
    const char* printer;
};

void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.printer;
}

class OneFaultyPrinterOfEight : public JobTest, public ::testing::WithParamInterface<Fault> {};

TEST_P(OneFaultyPrinterOfEight, LeavesTheOthersTheWholeDocument) {
    Peer healthy("http_sink");
    Peer faulty(GetParam().printer);
    std::vector<std::string> urls(7, healthy.url());
    urls.insert(urls.begin() + 3, faulty.url());
    const std::string document = testDocument(150 * 1024);
    const HANDLE port = multiPort(urls);

    ASSERT_TRUE(unicodeJobs().start(port, "Printer X", 77, 1, "Report"));
    BOOL written = FALSE;
    EXPECT_EQ(writeText(port, document, written), document.size());
    EXPECT_TRUE(written);
    EXPECT_TRUE(unicodeJobs().end(port));
    EXPECT_EQ(spooler_.takeCalls(),
              (std::vector<std::string>{"OpenPrinterA Printer X null -> 1001",
                                        "SetJobA 1001 77 0 null 6", "ClosePrinter 1001"}));

    // Seven probes and seven jobs, in any order.
    int whole = 0;
    for (int request = 1; request <= 14; ++request) {
        const auto body = healthy.file("request-" + std::to_string(request) + ".body");
        ASSERT_TRUE(body) << request;
        whole += body->ends_with(document);
    }
    EXPECT_EQ(whole, 7);
    EXPECT_EQ(healthy.file("request-15.body"), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, OneFaultyPrinterOfEight,
    ::testing::Values(
        Fault{"Refuses", "faulty_printer refuses"},
        Fault{"ClosesOnTheProbe", "faulty_printer --on 1 closes-before-reading"},
        Fault{"StallsOnTheProbe", "faulty_printer --on 1 --seconds 2 never-answers"},
        Fault{"ResetsInTheMiddle", "faulty_printer --on 2 --size 20000 closes-in-body"},
        Fault{"StallsInTheMiddle", "faulty_printer --on 2 --seconds 2 zero-window"},
        Fault{"StallsAtTheEnd", "faulty_printer --on 2 --seconds 2 never-answers"},
        Fault{"ClosesBeforeTheAnswer", "faulty_printer --on 2 closes-before-answer"},
        Fault{"RefusesEarlyAndCloses", "faulty_printer --on 2 early-answer-and-close"},
        Fault{"AnswersWithAnIppError", "faulty_printer --on 2 --size 0x0500 ipp-status"},
        Fault{"AnswersWithAnHttpError", "faulty_printer server-error"},
        Fault{"AnswersGarbage", "faulty_printer --on 2 garbage"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace velmora::testing
