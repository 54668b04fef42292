// Jobs to real printers: what they store, and which attributes they say the job has.

#include <gtest/gtest.h>

#include "harness/peer.h"
#include "harness/printing.h"
#include "ipp/job_template.h"
#include "tests/ipp/expected_requests.h"

namespace velmora {
namespace {

using testing::Peer;
using testing::printDocument;
using testing::targetOf;
using testing::testDocument;

struct PrinterKind {
    const char* name;
    const char* program;
    const char* firstDocument;  ///< file pattern of the first job's document
};

const PrinterKind kIppEve{"IppEvePrinter", "ippeve_printer", "1-*.dat"};
const PrinterKind kCups{"CupsServer", "cups_server", "spool/d00001-001"};

struct DocumentCase {
    PrinterKind printer;
    std::size_t size;
};

/// Around the size of a piece, and large; the 64-bit build repeats only two sizes.
std::vector<DocumentCase> documentCases() {
    std::vector<std::size_t> sizes = {1, 1023, 1024, 1025, 64 << 10, 4 << 20};
    if (sizeof(void*) == 8) sizes = {1025, 64 << 10};
    std::vector<DocumentCase> cases;
    for (const PrinterKind& printer : {kIppEve, kCups}) {
        for (const std::size_t size : sizes)
            cases.push_back({printer, size});
    }
    return cases;
}

class StoredDocument : public ::testing::TestWithParam<DocumentCase> {};

TEST_P(StoredDocument, EqualsWhatWasSent) {
    Peer printer(GetParam().printer.program);
    const std::string sent = testDocument(GetParam().size);
    ASSERT_TRUE(printDocument(targetOf(printer.url()), sent));
    // Not EXPECT_EQ on the bytes: its message would hold the whole document.
    const std::string stored = printer.file(GetParam().printer.firstDocument).value_or("");
    EXPECT_EQ(stored.size(), sent.size());
    EXPECT_TRUE(stored == sent);
}

INSTANTIATE_TEST_SUITE_P(Sizes, StoredDocument, ::testing::ValuesIn(documentCases()),
                         [](const auto& info) {
                             return info.param.printer.name + std::string("_") +
                                    std::to_string(info.param.size);
                         });

/// The lines in which ipptool shows the attributes of a job made with these values.
std::vector<std::string> attributeLines(const JobTemplate& values, const std::string& finishings,
                                        const std::string& orientation,
                                        const std::string& resolution, const std::string& quality) {
    return {"job-priority (integer) = " + std::to_string(values.jobPriority),
            "job-hold-until (keyword) = " + values.jobHoldUntil,
            "job-sheets (keyword) = " + values.jobSheets,
            "multiple-document-handling (keyword) = " + values.multipleDocumentHandling,
            "copies (integer) = " + std::to_string(values.copies),
            "finishings (enum) = " + finishings,
            "sides (keyword) = " + values.sides,
            "number-up (integer) = " + std::to_string(values.numberUp),
            "orientation-requested (enum) = " + orientation,
            "media (keyword) = " + values.media,
            "printer-resolution (resolution) = " + resolution,
            "print-quality (enum) = " + quality,
            "job-name (nameWithoutLanguage) = Caf\xC3\xA9",
            "document-name-supplied (nameWithoutLanguage) = Caf\xC3\xA9",
            "job-originating-user-name (nameWithoutLanguage) = " + testing::userName()};
}

void expectLines(Peer& printer, const std::vector<std::string>& lines) {
    const std::string shown = printer.run("ipptool -tv -d job=1 {url} {here}/get-job.test");
    for (const std::string& line : lines) {
        EXPECT_NE(shown.find("        " + line + "\n"), std::string::npos) << line << "\n" << shown;
    }
}

constexpr char kName[] = "Caf\xE9";  // in the ANSI code page

class DefaultTemplate : public ::testing::TestWithParam<PrinterKind> {};

TEST_P(DefaultTemplate, ArrivesAsItIs) {
    Peer printer(GetParam().program);
    const JobTemplate values;
    ASSERT_TRUE(printDocument(targetOf(printer.url()), testDocument(100), kName, values));
    expectLines(printer, attributeLines(values, "none", "portrait", "600dpi", "normal"));
    const std::string shown = printer.run("ipptool -tv -d job=1 {url} {here}/get-job.test");
    EXPECT_EQ(shown.find("page-ranges"), std::string::npos) << shown;
}

INSTANTIATE_TEST_SUITE_P(Printers, DefaultTemplate, ::testing::Values(kIppEve, kCups),
                         [](const auto& info) { return std::string(info.param.name); });

std::vector<std::string> changedLines(const JobTemplate& values) {
    std::vector<std::string> lines =
        attributeLines(values, "staple", "landscape", "1200x600dpi", "high");
    lines.push_back("page-ranges (1setOf rangeOfInteger) = 1-5,9-9");
    return lines;
}

TEST(ChangedTemplate, ArrivesAtCupsAsItIs) {
    Peer printer("cups_server");
    const JobTemplate values = testing::changedTemplate();
    const std::string sent = testDocument(2000);
    ASSERT_TRUE(printDocument(targetOf(printer.url()), sent, kName, values));
    std::vector<std::string> lines = changedLines(values);
    lines.push_back("ipp-attribute-fidelity (boolean) = true");
    expectLines(printer, lines);
    EXPECT_EQ(printer.file("spool/d00001-002"), sent)
        << "after the banner that job-sheets asks for";
}

TEST(ChangedTemplate, ArrivesAtIppEvePrinterAsItIs) {
    Peer printer("ippeve_printer");
    JobTemplate values = testing::changedTemplate();
    // The only values of these two attributes that this printer accepts; it refuses jobs with
    // others.
    values.jobHoldUntil = "no-hold";
    values.jobSheets = "none";
    const std::string sent = testDocument(2000);
    ASSERT_TRUE(printDocument(targetOf(printer.url()), sent, kName, values));
    expectLines(printer, changedLines(values));
    EXPECT_EQ(printer.file("1-*.dat"), sent);
}

TEST(RefusedJob, IsAFailureAtItsEnd) {
    Peer printer("ippeve_printer");
    JobTemplate values;
    values.media = "no-such-medium";
    EXPECT_FALSE(printDocument(targetOf(printer.url()), testDocument(2000), "Document", values));
    EXPECT_TRUE(printDocument(targetOf(printer.url()), testDocument(2000))) << "the next job";
}

TEST(UnknownQueue, RefusesTheJobThoughTheProbeWasRefusedToo) {
    Peer server("cups_server");
    const std::string url = server.url().substr(0, server.url().rfind('/')) + "/nobody";
    EXPECT_FALSE(printDocument(targetOf(url), testDocument(2000)));
    EXPECT_TRUE(printDocument(targetOf(server.url()), testDocument(2000))) << "the next job";
}

}  // namespace
}  // namespace velmora
