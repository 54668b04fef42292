#include "monitor/job_entries.h"
#include "monitor/port_list.h"

#include <string>
#include <vector>

#include "harness/peer.h"
#include "harness/printing.h"
#include "monitor/process_objects.h"
#include "platform/handle.h"
#include "platform/library.h"
#include "port/policy_store.h"
#include "tests/ipp/expected_requests.h"
#include "tests/monitor/jobs/job_test.h"

namespace velmora::testing {
namespace {

using Calls = std::vector<std::string>;

const Calls kWholeJob{"OpenPrinterA Printer X null -> 1001", "SetJobA 1001 77 0 null 6",
                      "ClosePrinter 1001"};

bool endsWith(const std::optional<std::string>& text, const std::string& end) {
    return text && text->ends_with(end);
}

/// A printer at whose address nobody listens.
class NobodyThere {
  public:
    const std::string& url() const { return peer_.url(); }

  private:
    Peer peer_{"faulty_printer refuses"};
};

class JobEntriesOfEveryGeneration : public JobTest,
                                    public ::testing::WithParamInterface<JobEntries> {
  protected:
    const JobEntries& jobs() { return GetParam(); }
    /// Handle numbers count up over the life of the process; here they begin at 1001.
    Calls calls() { return spooler_.takeCalls(); }
};

INSTANTIATE_TEST_SUITE_P(All, JobEntriesOfEveryGeneration, ::testing::ValuesIn(jobGenerations()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(JobEntriesOfEveryGeneration, SinglePrinterGetsTheDocumentAndTheSpoolerIsTold) {
    Peer printer("http_sink");
    const HANDLE port = singlePort(printer.url());
    const std::string document = testDocument(3000);
    ASSERT_TRUE(jobs().start(port, "Printer X", 77, 1, "Report"));
    EXPECT_EQ(calls(), Calls{kWholeJob[0]});
    BOOL written = FALSE;
    EXPECT_EQ(writeText(port, document, written, jobs()), 3000u);
    EXPECT_TRUE(written);
    EXPECT_TRUE(jobs().end(port));
    EXPECT_EQ(calls(), Calls({kWholeJob[1], kWholeJob[2]}));
    const auto body = printer.file("request-2.body");
    EXPECT_TRUE(endsWith(body, document));
    EXPECT_NE(body->find(std::string("job-name\0\6Report", 16)), std::string::npos);
}

TEST_P(JobEntriesOfEveryGeneration, SeveralPrintersGetTheDocumentAndTheSpoolerIsTold) {
    Peer first("http_sink");
    Peer second("http_sink");
    const HANDLE port = multiPort({first.url(), second.url()});
    const std::string document = testDocument(3000);
    EXPECT_TRUE(printJob(port, document, "Report", jobs()));
    EXPECT_EQ(calls(), kWholeJob);
    EXPECT_TRUE(endsWith(first.file("request-2.body"), document));
    EXPECT_TRUE(endsWith(second.file("request-2.body"), document));
    EXPECT_EQ(first.file("request-3.body"), std::nullopt);
}

TEST_P(JobEntriesOfEveryGeneration, UnreachablePrinterFailsTheStartAndTheEndStillClosesThePrinter) {
    NobodyThere printer;
    const HANDLE port = singlePort(printer.url());
    EXPECT_FALSE(jobs().start(port, "Printer X", 77, 1, "Report"));
    BOOL written = TRUE;
    EXPECT_EQ(writeText(port, "data", written, jobs()), 0u);
    EXPECT_FALSE(written);
    EXPECT_TRUE(jobs().end(port));
    EXPECT_EQ(calls(), kWholeJob);
}

TEST_P(JobEntriesOfEveryGeneration, PortWithoutPrintersTakesTheJobAndRefusesItsData) {
    const HANDLE port = portOfGroups({1, 99, 0xFFFFFFFF});
    EXPECT_TRUE(jobs().start(port, "Printer X", 77, 1, "Report"));
    BOOL written = TRUE;
    SetLastError(4711);
    EXPECT_EQ(writeText(port, "data", written, jobs()), 0u);
    EXPECT_FALSE(written);
    EXPECT_EQ(GetLastError(), 4711u) << "the spooler is given no reason";
    EXPECT_TRUE(jobs().end(port));
    EXPECT_EQ(calls(), kWholeJob);
}

TEST_P(JobEntriesOfEveryGeneration, WithoutADocumentNameNothingIsStarted) {
    const HANDLE port = singlePort("");
    SetLastError(4711);
    EXPECT_FALSE(jobs().start(port, "Printer X", 77, 1, nullptr));
    EXPECT_EQ(GetLastError(), 4711u) << "the spooler is given no reason";
    EXPECT_TRUE(jobs().end(port));
    EXPECT_EQ(calls(), Calls{});
}

TEST_P(JobEntriesOfEveryGeneration, WhateverRealSpoolersPassIsTaken) {
    Peer printer("http_sink");
    const HANDLE port = singlePort(printer.url());
    EXPECT_TRUE(jobs().start(port, nullptr, 0, 3, "")) << "no printer name, job id 0, level 3";
    EXPECT_TRUE(jobs().end(port));
    EXPECT_EQ(calls(), Calls({"OpenPrinterA null null -> 1001", "SetJobA 1001 0 0 null 6",
                              "ClosePrinter 1001"}));
}

TEST_P(JobEntriesOfEveryGeneration, PrinterThatTheSpoolerDoesNotKnowDoesNotStopTheJob) {
    Peer printer("http_sink");
    const HANDLE port = singlePort(printer.url());
    spooler_->openPrinterFails = TRUE;
    spooler_->setJobFails = TRUE;
    EXPECT_TRUE(printJob(port, "%!", "Report", jobs()));
    EXPECT_EQ(calls(), Calls({"OpenPrinterA Printer X null fails", "SetJobA 0 77 0 null 6",
                              "ClosePrinter 0"}));
    EXPECT_TRUE(endsWith(printer.file("request-2.body"), "%!"));
}

TEST_P(JobEntriesOfEveryGeneration, WithoutAJobWritingFailsAndTheEndCallsNothing) {
    const HANDLE port = singlePort("");
    BOOL written = TRUE;
    EXPECT_EQ(writeText(port, "data", written, jobs()), 0u);
    EXPECT_FALSE(written);
    EXPECT_TRUE(jobs().end(port));
    EXPECT_EQ(calls(), Calls{});
}

TEST_P(JobEntriesOfEveryGeneration, NullArgumentsAreRefused) {
    const HANDLE port = singlePort("");
    BYTE data[1] = {};
    DWORD written = 4711;
    EXPECT_TRUE(jobs().write(nullptr, nullptr, 0, nullptr));
    EXPECT_TRUE(jobs().write(port, data, 0, &written));
    EXPECT_EQ(written, 4711u) << "nothing to write, nothing to count";
    EXPECT_FALSE(jobs().write(port, nullptr, 1, &written));
    EXPECT_EQ(written, 0u);
    EXPECT_FALSE(jobs().write(port, data, 1, nullptr));
    EXPECT_FALSE(jobs().write(nullptr, data, 1, nullptr));
    EXPECT_FALSE(jobs().start(nullptr, "Printer X", 77, 1, "Report"));
    EXPECT_TRUE(jobs().end(nullptr));
    EXPECT_FALSE(startDocPortW(port, nullptr, 77, 1, nullptr));
    EXPECT_FALSE(startDocPortA(port, nullptr, 77, 1, nullptr));
    EXPECT_EQ(calls(), Calls{});
}

class JobEntriesTest : public JobTest {};

/// The sizes of the body's chunks without the last one.
std::vector<std::size_t> chunkSizes(const std::string& raw) {
    std::vector<std::size_t> sizes;
    for (std::size_t at = 0;;) {
        const std::size_t size = std::stoul(raw.substr(at), nullptr, 16);
        if (size == 0) return sizes;
        sizes.push_back(size);
        at = raw.find("\r\n", at) + 2 + size + 2;
    }
}

struct Cut {
    std::size_t size;
    std::vector<std::size_t> pieces;
};

TEST_F(JobEntriesTest, DataIsHandedOnInPiecesOfAtMost1024Bytes) {
    const std::vector<Cut> cuts{
        {1, {1}}, {1024, {1024}}, {1025, {1024, 1}}, {2500, {1024, 1024, 452}}};
    Peer printer("http_sink");
    const HANDLE port = singlePort(printer.url());
    int request = 0;
    for (const Cut& cut : cuts) {
        SCOPED_TRACE(cut.size);
        EXPECT_TRUE(printJob(port, testDocument(cut.size)));
        const auto raw = printer.file("request-" + std::to_string(request += 2) + ".raw");
        ASSERT_TRUE(raw);
        std::vector<std::size_t> sizes = chunkSizes(*raw);
        sizes.erase(sizes.begin());  // the request itself
        EXPECT_EQ(sizes, cut.pieces);
    }
}

int pauses = 0;

void WINAPI countPause(DWORD) {
    ++pauses;
}

/// Jobs of a machine whose policy asks for prompt delivery.
class PromptJobEntriesTest : public JobTest {
  protected:
    void SetUp() override {
        JobTest::SetUp();
        pauses = 0;
        Policy policy;
        policy.promptDelivery = 1;
        ASSERT_TRUE(createPolicy(kDefaultMonitorKey, policy));
    }

    ImportPatch countPauses_{"KERNEL32.dll", "Sleep", reinterpret_cast<void (*)()>(&countPause)};
};

TEST_F(PromptJobEntriesTest, DataIsHandedOnInPiecesOf64KiBAndNoRequestWaits) {
    Peer printer("http_sink");
    const std::string document = testDocument(150000);
    EXPECT_TRUE(printJob(singlePort(printer.url()), document));
    EXPECT_EQ(pauses, 0);
    const auto raw = printer.file("request-2.raw");
    ASSERT_TRUE(raw);
    std::vector<std::size_t> sizes = chunkSizes(*raw);
    sizes.erase(sizes.begin());  // the request itself
    EXPECT_EQ(sizes, (std::vector<std::size_t>{65536, 65536, 18928}));
    EXPECT_TRUE(endsWith(printer.file("request-2.body"), document));
}

TEST_F(PromptJobEntriesTest, SeveralPrintersGetTheDocument) {
    Peer first("http_sink");
    Peer second("http_sink");
    const std::string document = testDocument(150000);
    EXPECT_TRUE(printJob(multiPort({first.url(), second.url()}), document));
    EXPECT_EQ(pauses, 0);
    EXPECT_TRUE(endsWith(first.file("request-2.body"), document));
    EXPECT_TRUE(endsWith(second.file("request-2.body"), document));
}

TEST_F(JobEntriesTest, WithoutAPolicyBothRequestsPause) {
    pauses = 0;
    Peer printer("http_sink");
    const ImportPatch counting("KERNEL32.dll", "Sleep", reinterpret_cast<void (*)()>(&countPause));
    EXPECT_TRUE(printJob(singlePort(printer.url()), "x"));
    EXPECT_EQ(pauses, 2);
}

TEST_F(JobEntriesTest, DocumentNameOfTheCodePageReachesThePrinterAsUtf8) {
    Peer printer("http_sink");
    const HANDLE port = singlePort(printer.url());
    for (const JobEntries& jobs : jobGenerations()) {
        EXPECT_TRUE(printJob(port, "%!", "caf\xE9", jobs));
        const auto body = printer.file("request-*.body");
        ASSERT_TRUE(body);
        EXPECT_NE(body->find(std::string("job-name\0\5caf\xC3\xA9", 15)), std::string::npos);
    }
}

TEST_F(JobEntriesTest, DocumentNameOutsideTheCodePageIsTakenWithSubstitutes) {
    Peer printer("http_sink");
    const HANDLE port = singlePort(printer.url());
    wchar_t name[] = L"\x4E2D\x6587.txt";
    struct {
        wchar_t* name;
        wchar_t* file;
        wchar_t* type;
    } info{name, nullptr, nullptr};
    EXPECT_TRUE(startDocPortW(port, nullptr, 1, 1, reinterpret_cast<BYTE*>(&info)));
    EXPECT_TRUE(endDocPort(port));
    const auto body = printer.file("request-2.body");
    ASSERT_TRUE(body);
    EXPECT_NE(body->find(std::string("job-name\0\6??.txt", 16)), std::string::npos);
}

TEST_F(JobEntriesTest, LongDocumentNameIsTaken) {
    Peer printer("http_sink");
    const HANDLE port = singlePort(printer.url());
    EXPECT_TRUE(unicodeJobs().start(port, nullptr, 1, 1, std::string(50000, 'n').c_str()));
    EXPECT_TRUE(endDocPort(port));
}

TEST_F(JobEntriesTest, AnswerOfThePrinterIsNotReported) {
    Peer printer("faulty_printer --on 2 --size 0x0507 ipp-status");
    const HANDLE port = singlePort(printer.url());
    EXPECT_TRUE(printJob(port, testDocument(2000)));
    EXPECT_EQ(spooler_.takeCalls(), kWholeJob);
}

TEST_F(JobEntriesTest, BrokenConnectionFailsWritingWithTheCountOfWhatWasAccepted) {
    // More than the request itself, which start sends, so that the fault comes with the document's
    // data.
    Peer printer("faulty_printer --on 2 --size 2000 closes-in-body");
    const HANDLE port = singlePort(printer.url());
    ASSERT_TRUE(unicodeJobs().start(port, "Printer X", 77, 1, "Report"));
    const std::string data = testDocument(64 * 1024);
    BOOL written = TRUE;
    DWORD count = 0;
    // The reset may take a moment to get here.
    for (int i = 0; i < 200 && written; ++i)
        count = writeText(port, data, written);
    EXPECT_FALSE(written);
    EXPECT_LT(count, data.size());
    EXPECT_EQ(count % 1024, 0u);
    EXPECT_EQ(writeText(port, "more", written), 0u) << "nothing can follow a gap";
    EXPECT_FALSE(written);
    EXPECT_TRUE(endDocPort(port));
    EXPECT_EQ(spooler_.takeCalls(), kWholeJob);
}

TEST_F(JobEntriesTest, StartOnAPortWithAJobReplacesItWithoutEndingIt) {
    Peer printer("http_sink");
    const HANDLE port = singlePort(printer.url());
    ASSERT_TRUE(unicodeJobs().start(port, "Printer X", 77, 1, "Abandoned"));
    ASSERT_TRUE(unicodeJobs().start(port, "Printer Y", 78, 1, "Second"));
    BOOL written = FALSE;
    EXPECT_EQ(writeText(port, "%!second", written), 8u);
    EXPECT_TRUE(endDocPort(port));
    EXPECT_TRUE(endDocPort(port)) << "nothing left to end";
    EXPECT_EQ(spooler_.takeCalls(),
              Calls({"OpenPrinterA Printer X null -> 1001", "OpenPrinterA Printer Y null -> 1002",
                     "SetJobA 1002 78 0 null 6", "ClosePrinter 1002"}));
    EXPECT_EQ(printer.file("request-4.body"), std::nullopt) << "the abandoned request never ends";
    EXPECT_TRUE(endsWith(printer.file("request-3.body"), "%!second"));
}

// The spooler starts a job again and again as long as that fails, and ends none of them.
TEST_F(JobEntriesTest, JobsThatCannotStartLeaveNoPrinterOpenIfThePolicyClosesConnections) {
    NobodyThere printer;
    const HANDLE port = singlePort(printer.url());
    const auto failTwice = [&] {
        EXPECT_FALSE(unicodeJobs().start(port, "Printer X", 77, 1, "Report"));
        EXPECT_FALSE(unicodeJobs().start(port, "Printer X", 77, 1, "Report"));
    };
    failTwice();
    EXPECT_EQ(spooler_.takeCalls(),
              Calls({"OpenPrinterA Printer X null -> 1001", "OpenPrinterA Printer X null -> 1002"}))
        << "without the policy they are kept";
    Policy policy;
    policy.closeConnections = 1;
    ASSERT_TRUE(createPolicy(kDefaultMonitorKey, policy));
    failTwice();
    EXPECT_TRUE(unicodeJobs().end(port));
    EXPECT_EQ(spooler_.takeCalls(),
              Calls({"OpenPrinterA Printer X null -> 1003", "ClosePrinter 1002",
                     "OpenPrinterA Printer X null -> 1004", "ClosePrinter 1003",
                     "SetJobA 1004 77 0 null 6", "ClosePrinter 1004"}));
}

TEST_F(JobEntriesTest, StartOnAPortWithAnAbandonedMultiTargetJobWorksToo) {
    Peer printer("http_sink");
    const HANDLE port = multiPort({printer.url(), printer.url()});
    ASSERT_TRUE(unicodeJobs().start(port, "Printer X", 77, 1, "Abandoned"));
    EXPECT_TRUE(printJob(port, "%!second"));
    const auto body = printer.file("request-*.body");
    EXPECT_TRUE(endsWith(body, "%!second"));
}

TEST_F(JobEntriesTest, JobKeepsTheConfigurationThatItStartedWith) {
    Peer printer("http_sink");
    Peer other("http_sink");
    const HANDLE port = singlePort(printer.url());
    ASSERT_TRUE(unicodeJobs().start(port, "Printer X", 77, 1, "Report"));
    setUrl(port, other.url());
    BOOL written = FALSE;
    EXPECT_EQ(writeText(port, "%!one", written), 5u);
    EXPECT_TRUE(endDocPort(port));
    EXPECT_TRUE(endsWith(printer.file("request-2.body"), "%!one"));
    EXPECT_EQ(other.file("request-1.body"), std::nullopt);
    EXPECT_TRUE(printJob(port, "%!two"));
    EXPECT_TRUE(endsWith(other.file("request-2.body"), "%!two"));
}

TEST_F(JobEntriesTest, JobOfADeletedPortGoesOnToItsEnd) {
    Peer printer("http_sink");
    auto* const port = static_cast<Port*>(singlePort(printer.url()));
    ASSERT_TRUE(unicodeJobs().start(port, "Printer X", 77, 1, "Report"));
    portList()->remove(*port);
    BOOL written = FALSE;
    EXPECT_EQ(writeText(port, "%!one", written), 5u);
    EXPECT_TRUE(endDocPort(port));
    EXPECT_TRUE(endsWith(printer.file("request-2.body"), "%!one"));
    EXPECT_EQ(spooler_.takeCalls(), kWholeJob);
}

/// The body of a Print-Job of these tests: the request and after it the document.
std::string wholeJob(const Peer& printer, const std::string& name, const JobTemplate& jobTemplate,
                     const std::string& document) {
    return expectedPrintJob(printer.url(), userName(), name, jobTemplate, {{1, 5}, {9, 9}}) +
           document;
}

TEST_F(JobEntriesTest, PortsJobTemplateGoesWithItsJobs) {
    const std::string document = testDocument(2000);
    Peer first("http_sink");
    Peer second("http_sink");
    ASSERT_NE(wholeJob(first, "Single", changedTemplate(), document),
              wholeJob(first, "Single", newPortTemplate(), document));
    const HANDLE single = singlePort(first.url());
    setTemplate(single, changedTemplate());
    EXPECT_TRUE(printJob(single, document, "Single"));
    EXPECT_EQ(first.file("request-2.body"), wholeJob(first, "Single", changedTemplate(), document));
    const HANDLE multi = multiPort({first.url(), second.url()});
    setTemplate(multi, changedTemplate());
    EXPECT_TRUE(printJob(multi, document, "Multi"));
    EXPECT_EQ(first.file("request-4.body"), wholeJob(first, "Multi", changedTemplate(), document));
    EXPECT_EQ(second.file("request-2.body"),
              wholeJob(second, "Multi", changedTemplate(), document));
}

/// One log for the spooler's calls and for what has arrived at the printers by then.
class ArrivalLog {
  public:
    ArrivalLog(FakeSpooler& spooler, std::vector<Peer*> printers) : printers_(std::move(printers)) {
        current = this;
        spooler->onCall = &told;
    }

    Calls lines;

  private:
    static void WINAPI told(const char* line) { current->note(line); }

    /// A sink stores a request once it is complete, and answers afterwards.
    void note(const std::string& line) {
        std::string text = line.substr(0, line.find(' '));
        for (Peer* const printer : printers_) {
            int requests = 0;
            while (printer->file("request-" + std::to_string(requests + 1) + ".body"))
                ++requests;
            text += " " + std::to_string(requests);
        }
        lines.push_back(text);
    }

    inline static ArrivalLog* current = nullptr;
    std::vector<Peer*> printers_;
};

TEST_F(JobEntriesTest, SpoolersPrinterIsOpenBeforeTheFirstRequestAndTheReportComesAfterTheLast) {
    Peer first("http_sink");
    Peer second("http_sink");
    {
        const ArrivalLog log(spooler_, {&first});
        EXPECT_TRUE(printJob(singlePort(first.url()), testDocument(3000)));
        EXPECT_EQ(log.lines, Calls({"OpenPrinterA 0", "SetJobA 2", "ClosePrinter 2"}));
    }
    const ArrivalLog log(spooler_, {&first, &second});
    EXPECT_TRUE(printJob(multiPort({first.url(), second.url()}), testDocument(3000)));
    EXPECT_EQ(log.lines, Calls({"OpenPrinterA 2 0", "SetJobA 4 2", "ClosePrinter 4 2"}));
    spooler_->onCall = nullptr;
}

/// While it lives, threads that this program starts do not run before they are released.
class HeldThreads {
  public:
    HeldThreads() { go_.reset(CreateEventA(nullptr, TRUE, FALSE, nullptr)); }
    ~HeldThreads() { letGo(); }
    HeldThreads(const HeldThreads&) = delete;
    HeldThreads& operator=(const HeldThreads&) = delete;

    void letGo() { SetEvent(go_.get()); }

  private:
    using Begin = std::uintptr_t(__cdecl*)(void*, unsigned, unsigned(__stdcall*)(void*), void*,
                                           unsigned, unsigned*);
    struct Start {
        unsigned(__stdcall* run)(void*);
        void* argument;
    };

    static unsigned __stdcall runLater(void* address) {
        const Start start = *static_cast<Start*>(address);
        delete static_cast<Start*>(address);
        WaitForSingleObject(go_.get(), INFINITE);
        return start.run(start.argument);
    }
    static std::uintptr_t __cdecl begin(void* security, unsigned stack,
                                        unsigned(__stdcall* run)(void*), void* argument,
                                        unsigned flags, unsigned* id) {
        // The name itself leads back to this function.
        static const auto runtime =
            librarySymbol<Begin>(GetModuleHandleA("msvcrt.dll"), "_beginthreadex");
        return runtime(security, stack, runLater, new Start{run, argument}, flags, id);
    }

    static inline UniqueEvent go_;
    ImportPatch patch_{"msvcrt.dll", "_beginthreadex", reinterpret_cast<void (*)()>(&begin)};
};

class RunningMultiTargetJob : public JobTest {
  protected:
    /// Starts the job; its workers have not begun when this returns.
    void SetUp() override {
        JobTest::SetUp();
        port_ = static_cast<Port*>(multiPort({first_.url(), second_.url()}));
        setTemplate(port_, changedTemplate());
        ASSERT_TRUE(unicodeJobs().start(port_, "Printer X", 77, 1, "Report"));
    }

    /// Lets the workers begin and ends the job, which must be as it was when it started.
    void expectTheJobAsItStarted() {
        threads_.letGo();
        BOOL written = FALSE;
        EXPECT_EQ(writeText(port_, "%!one", written), 5u);
        EXPECT_TRUE(written);
        EXPECT_TRUE(endDocPort(port_));
        for (Peer* const printer : {&first_, &second_}) {
            EXPECT_EQ(printer->file("request-2.body"),
                      wholeJob(*printer, "Report", changedTemplate(), "%!one"));
        }
        EXPECT_EQ(spooler_.takeCalls(), kWholeJob);
    }

    Peer first_{"http_sink"};
    Peer second_{"http_sink"};
    HeldThreads threads_;
    Port* port_ = nullptr;
};

TEST_F(RunningMultiTargetJob, OfAPortThatIsReconfiguredGoesOnAsItStarted) {
    Peer other("http_sink");
    makeSingle(port_, other.url());
    expectTheJobAsItStarted();
    EXPECT_EQ(other.file("request-1.body"), std::nullopt);
    EXPECT_TRUE(printJob(port_, "%!two"));
    EXPECT_TRUE(endsWith(other.file("request-2.body"), "%!two"));
    EXPECT_EQ(first_.file("request-3.body"), std::nullopt);
}

TEST_F(RunningMultiTargetJob, OfAPortThatIsDeletedGoesOnToItsEnd) {
    portList()->remove(*port_);
    expectTheJobAsItStarted();
}

TEST_F(JobEntriesTest, SinglePrinterOfAMultiTargetPortIsSentToOnTheSpoolersThread) {
    NobodyThere printer;
    EXPECT_FALSE(printJob(multiPort({printer.url()}), "%!")) << "so its failure is reported";
    EXPECT_TRUE(printJob(multiPort({printer.url(), printer.url()}), "%!"));
}

}  // namespace
}  // namespace velmora::testing
