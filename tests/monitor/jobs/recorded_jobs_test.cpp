// What the record of deliveries says about jobs to good and bad printers, and that nothing else
// changes when it is on.
#include <windows.h>

#include <wininet.h>
#include <winspool.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "harness/peer.h"
#include "harness/printing.h"
#include "harness/wininet/import_patch.h"
#include "monitor/delivery_output.h"
#include "monitor/job_entries.h"
#include "port/delivery_directory.h"
#include "port/settings.h"
#include "tests/monitor/jobs/job_test.h"

namespace velmora::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

DWORD WINAPI cancelledDialog(HWND, HINTERNET, DWORD, DWORD, void**) {
    return ERROR_SUCCESS;
}

class RecordedJobs : public JobTest {
  protected:
    void SetUp() override {
        JobTest::SetUp();
        fs::remove_all(deliveryDirectory());
    }
    void TearDown() override {
        fs::remove_all(deliveryDirectory());
        JobTest::TearDown();
    }

    static void setPolicy(const std::string& name, std::uint32_t value) {
        writeRegistryRaw(kDefaultMonitorKey + "\\Policy", name, REG_DWORD,
                         std::as_bytes(std::span(&value, 1)));
    }
    static void recordDeliveries() { setPolicy("DeliveryRecord", 20); }

    /// The record's lines once there are this many, or fewer after ten seconds.
    static std::vector<std::string> lines(std::size_t count) {
        std::vector<std::string> found;
        for (int attempt = 0; attempt < 200; ++attempt) {
            std::ifstream file(fs::path(deliveryDirectory()) / deliveryFileName(0));
            found.clear();
            for (std::string line; std::getline(file, line);)
                found.push_back(line);
            if (found.size() >= count) break;
            std::this_thread::sleep_for(50ms);
        }
        return found;
    }
    static bool has(const std::string& line, const std::string& part) {
        return line.find(part) != std::string::npos;
    }
};

/// A printer, and what the record must say about it.
struct Case {
    const char* printer;
    const char* outcome;
    std::vector<const char*> reason;
};

std::vector<Case> cases() {
    return {
        {"ippeve_printer --media iso_a3_297x420mm",
         "accepted",
         {R"("ipp-status":{"code":0,"keyword":"successful-ok"}})"}},
        {"ippeve_printer",
         "refused",
         {R"("ipp-status":{"code":1035,)"
          R"("keyword":"client-error-attributes-or-values-not-supported"})",
          R"("step":"answer")"}},
        {"cups_server", "accepted", {R"("ipp-status":{"code":)"}},
        {"cups_server --spent-quota",
         "refused",
         {R"("ipp-status":{"code":1028,"keyword":"client-error-not-possible"})",
          R"("step":"answer")"}},
        {"http_sink --basic user:password",
         "not-reached",
         {R"("http-status":401)", R"("error":{"code":1223,)", R"("step":"authenticate")",
          R"("bytes":0)"}},
        {"faulty_printer refuses",
         "not-reached",
         {R"("error":{"code":12029,"text":")", R"("step":"connect")", R"("bytes":0)"}},
        {"faulty_printer --on 2 --size 20000 closes-in-body",
         "incomplete",
         {R"("error":{"code":)", R"("step":"send")"}},
        {"faulty_printer server-error", "no-answer", {R"("http-status":500,"step":"answer")"}},
        {"faulty_printer --on 2 --seconds 20 never-answers",
         "no-answer",
         {R"("error":{"code":12002,)", R"("step":"answer")"}},
        {"faulty_printer --on 2 unauthorized",
         "no-answer",
         {R"("http-status":401,"step":"answer")"}},
    };
}

class RecordedOutcomes : public RecordedJobs {
  protected:
    void SetUp() override {
        RecordedJobs::SetUp();
        recordDeliveries();
        setPolicy("ReceiveTimeout", 3);
        setPolicy("CloseConnections", 1);
        for (const Case& one : cases())
            printers.push_back(std::make_unique<Peer>(one.printer));
    }

    /// One of the real printers has it, the other has not.
    static constexpr const char* kA3 = "iso_a3_297x420mm";

    static void expectCase(const Case& expected, const std::string& line, std::size_t size) {
        EXPECT_TRUE(has(line, "\"outcome\":\"" + std::string(expected.outcome) + "\"")) << line;
        for (const char* part : expected.reason)
            EXPECT_TRUE(has(line, part)) << part << "\n" << line;
        const std::string outcome = expected.outcome;
        const bool whole = outcome != "not-reached" && outcome != "incomplete";
        EXPECT_EQ(has(line, "\"bytes\":" + std::to_string(size) + ","), whole) << line;
        EXPECT_TRUE(has(line, R"("document":"Report")")) << line;
        EXPECT_TRUE(has(line, R"("job":77)")) << line;
    }

    std::vector<std::unique_ptr<Peer>> printers;
    const std::string document = testDocument(400 * 1024);
    // Nobody types a password here.
    ImportPatch noDialog_{"wininet.dll", "InternetErrorDlg",
                          reinterpret_cast<void (*)()>(cancelledDialog)};
};

TEST_F(RecordedOutcomes, OfOneJobToAllPrinters) {
    std::vector<std::string> urls;
    for (const auto& printer : printers)
        urls.push_back(printer->url());
    HANDLE const all = multiPort(urls);
    requireMedium(all, kA3);
    ASSERT_TRUE(unicodeJobs().start(all, "Printer X", 77, 1, "Report"));
    BOOL written = FALSE;
    EXPECT_EQ(writeText(all, document, written), document.size());
    EXPECT_TRUE(unicodeJobs().end(all));
    EXPECT_EQ(spooler_.takeCalls(),
              (std::vector<std::string>{"OpenPrinterA Printer X null -> 1001",
                                        "SetJobA 1001 77 0 null 6", "ClosePrinter 1001"}));

    const std::vector<std::string> found = lines(cases().size());
    ASSERT_EQ(found.size(), cases().size());
    for (std::size_t i = 0; i < cases().size(); ++i) {
        SCOPED_TRACE(cases()[i].printer);
        const std::string target = "\"targets\":" + std::to_string(cases().size()) +
                                   ",\"target\":" + std::to_string(i + 1) + ",";
        std::size_t seen = 0;
        for (const std::string& line : found) {
            if (!has(line, target)) continue;
            ++seen;
            EXPECT_TRUE(has(line, "\"printer\":\"" + urls[i] + "\"")) << line;
            expectCase(cases()[i], line, document.size());
        }
        EXPECT_EQ(seen, 1u);
    }
}

TEST_F(RecordedOutcomes, OfJobsToOnePrinterEach) {
    for (std::size_t i = 0; i < cases().size(); ++i) {
        SCOPED_TRACE(cases()[i].printer);
        HANDLE const port = singlePort(printers[i]->url(), "One " + std::to_string(i));
        requireMedium(port, kA3);
        if (unicodeJobs().start(port, "Printer X", 77, 1, "Report")) {
            BOOL written = FALSE;
            writeText(port, document, written);
            unicodeJobs().end(port);
        }
        const std::vector<std::string> found = lines(i + 1);
        ASSERT_EQ(found.size(), i + 1);
        EXPECT_TRUE(has(found.back(), R"("targets":1,"target":1,)")) << found.back();
        EXPECT_TRUE(has(found.back(), "\"port\":\"One " + std::to_string(i) + "\""));
        expectCase(cases()[i], found.back(), document.size());
    }
}

TEST_F(RecordedJobs, NothingIsWrittenWithoutThePolicy) {
    Peer sink("http_sink");
    HANDLE const port = singlePort(sink.url());
    EXPECT_TRUE(printJob(port, "document"));
    EXPECT_FALSE(fs::exists(deliveryDirectory()));
}

TEST_F(RecordedJobs, BytesOnTheWireAndCallsAreTheSame) {
    Peer sink("http_sink");
    Peer off("faulty_printer refuses");
    const std::string document = testDocument(5000);
    const auto run = [&](const std::string& name) {
        std::vector<std::string> seen;
        HANDLE const single = singlePort(sink.url());
        seen.push_back(printJob(single, document, name) ? "printed" : "failed");
        HANDLE const several = multiPort({sink.url(), off.url(), sink.url()});
        seen.push_back(printJob(several, document, name) ? "printed" : "failed");
        HANDLE const dead = singlePort(off.url());
        seen.push_back(printJob(dead, document, name) ? "printed" : "failed");
        for (std::string& call : spooler_.takeCalls())
            seen.push_back(std::move(call));
        return seen;
    };
    const std::vector<std::string> without = run("Same");
    recordDeliveries();
    setPolicy("EventLog", 2);
    // The stand-in goes on counting its handles; nothing else differs.
    std::vector<std::string> with = run("Same");
    ASSERT_EQ(with.size(), without.size());
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(with[i], without[i]);
    for (std::size_t i = 3; i < with.size(); ++i)
        EXPECT_EQ(with[i].substr(0, with[i].find(' ')), without[i].substr(0, without[i].find(' ')));
    EXPECT_EQ(lines(5).size(), 5u);
    // Requests 1 to 6 came without the record, 7 to 12 with it; those to the two printers of one
    // job may come in either order.
    std::map<std::string, int> bodies;
    for (int request = 1; request <= 12; ++request) {
        const auto body = sink.file("request-" + std::to_string(request) + ".body");
        ASSERT_TRUE(body) << request;
        bodies[*body] += request <= 6 ? 1 : -1;
    }
    for (const auto& [body, difference] : bodies)
        EXPECT_EQ(difference, 0) << body.size();
    EXPECT_EQ(sink.file("request-13.body"), std::nullopt);
}

TEST_F(RecordedJobs, AJobWithoutPrintersIsOneLine) {
    recordDeliveries();
    HANDLE const port = portOfGroups({4711});
    EXPECT_FALSE(printJob(port, "document"));
    const auto found = lines(1);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(has(found[0], R"("targets":0,"target":0,"bytes":0,)")) << found[0];
    EXPECT_TRUE(has(found[0], R"("outcome":"not-reached","step":"resolve")")) << found[0];
}

TEST_F(RecordedJobs, TriesOfOneJobAreCountedAndToldAtTheEndOfTheMonitor) {
    recordDeliveries();
    Peer off("faulty_printer refuses");
    HANDLE const port = singlePort(off.url());
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(unicodeJobs().start(port, "Printer X", 77, 1, "Report"));
    EXPECT_EQ(lines(1).size(), 1u);
    flushDeliveryLog();
    const auto found = lines(2);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_FALSE(has(found[0], "repeats"));
    EXPECT_TRUE(has(found[1], R"("repeats":2)")) << found[1];
}

TEST_F(RecordedJobs, AJobThatIsNeverEndedIsAbandoned) {
    recordDeliveries();
    Peer sink("http_sink");
    HANDLE const port = singlePort(sink.url());
    ASSERT_TRUE(unicodeJobs().start(port, "Printer X", 77, 1, "Lost"));
    BOOL written = FALSE;
    writeText(port, "half a document", written);
    EXPECT_TRUE(printJob(port, "another"));
    const auto found = lines(2);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_TRUE(has(found[0], R"("document":"Lost")")) << found[0];
    EXPECT_TRUE(has(found[0], R"("bytes":15,)")) << found[0];
    EXPECT_TRUE(has(found[0], R"("outcome":"abandoned")")) << found[0];
    EXPECT_TRUE(has(found[1], R"("outcome":"accepted")")) << found[1];
}

TEST_F(RecordedJobs, TheSpoolersWideTextIsWhole) {
    recordDeliveries();
    Peer sink("http_sink");
    HANDLE const port = singlePort(sink.url());
    wchar_t name[] = L"R\x00E9sum\x00E9 \x6A5F\x80FD \x2192";
    DOC_INFO_1W info{name, nullptr, nullptr};
    ASSERT_TRUE(startDocPortW(port, nullptr, 77, 1, reinterpret_cast<BYTE*>(&info)));
    endDocPort(port);
    const auto found = lines(1);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(has(found[0],
                    "\"document\":\"R\xC3\xA9sum\xC3\xA9 \xE6\xA9\x9F\xE8\x83\xBD "
                    "\xE2\x86\x92\""))
        << found[0];
}

TEST_F(RecordedJobs, ADirectoryThatCannotBeWrittenCostsLinesAlone) {
    recordDeliveries();
    Peer sink("http_sink");
    HANDLE const port = singlePort(sink.url());
    fs::create_directories(fs::path(deliveryDirectory()).parent_path());
    std::ofstream(deliveryDirectory()) << "a file where the directory should be";
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(printJob(port, "document"));
    flushDeliveryLog();
    fs::remove(deliveryDirectory());
    EXPECT_TRUE(printJob(port, "document"));
    const auto found = lines(1);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(has(found[0], R"("lost":3)")) << found[0];
}

}  // namespace
}  // namespace velmora::testing
