// The outcome of a job when the printer, or the network before it, misbehaves: it fails or goes on
// as stated here, nothing crashes or stays open, and the next job is delivered.

#include <gtest/gtest.h>
#include <windows.h>

#include <psapi.h>

#include <atomic>
#include <memory>
#include <ostream>
#include <thread>
#include <vector>

#include "harness/peer.h"
#include "harness/printing.h"
#include "harness/waiting.h"
#include "harness/wininet/import_patch.h"
#include "harness/wininet/wininet_functions.h"

namespace velmora {
namespace {

using testing::Peer;
using testing::targetOf;
using testing::testDocument;
using testing::waitUntil;

/// The possible outcomes of a job; a case that depends on timing allows more than one.
enum Outcome : unsigned {
    kNotStarted = 1,  ///< SendPrintJob gives no connection
    kFailed = 2,      ///< the job began, and fails in a write or at its end
    kAccepted = 4,
};

Outcome runJob(const std::string& url, const std::string& document) {
    const auto connection =
        testing::startJob(targetOf(url), "Document", testing::connectionOptions());
    if (!connection) return kNotStarted;
    if (connection->lastError() != 0) return kFailed;
    return testing::sendDocument(*connection, document) ? kAccepted : kFailed;
}

struct FaultCase {
    const char* name;
    const char* arguments;  ///< of the faulty printer
    unsigned onProbe;       ///< outcomes when the probe meets the fault
    unsigned onJob;         ///< outcomes when the print job meets it
    std::size_t documentSize = 5000;
};

void PrintTo(const FaultCase& fault, std::ostream* out) {
    *out << fault.arguments;
}

const FaultCase kFaults[] = {
    // A silent printer holds the job as long as the platform waits, which gives up here.
    {"NeverAnswers", "--seconds 0.5 never-answers", kAccepted, kFailed},
    {"AnswersSlowly", "--seconds 0.005 slow", kAccepted, kAccepted},
    // Depending on when the reset comes, the probe fails or appears to succeed.
    {"ClosesBeforeReading", "closes-before-reading", kNotStarted | kAccepted, kFailed},
    {"ClosesInTheHeaders", "closes-in-headers", kNotStarted | kAccepted, kFailed},
    {"ClosesInTheBody", "--size 100 closes-in-body", kNotStarted | kAccepted, kFailed, 200000},
    // A request that meets a closed connection is repeated on a new one by the platform.
    {"ClosesAfterTheAnswer", "closes-between", kAccepted, kAccepted},
    {"ClosesBeforeTheAnswer", "closes-before-answer", kAccepted, kFailed},
    {"ClosesInTheAnswersHeaders", "closes-in-answer-headers", kAccepted, kFailed},
    {"ClosesInTheAnswer", "closes-in-answer", kAccepted, kFailed},
    {"ZeroWindow", "--seconds 0.5 zero-window", kNotStarted | kAccepted, kFailed, 8 << 20},
    {"AnswersBeforeTheBody", "early-answer", kAccepted, kAccepted, 200000},
    {"RefusesBeforeTheBodyAndCloses", "early-answer-and-close", kAccepted, kFailed, 2 << 20},
    {"ContinuesLate", "late-continue", kAccepted, kAccepted},
    {"ContinuesAThousandTimes", "many-continues", kAccepted, kAccepted},
    {"ExpectationFailed", "expectation-failed", kAccepted, kFailed},
    // The platform follows redirects by itself and turns the request into a GET for good: if nobody
    // listens there the probe fails, and a printer refuses the job's GET.
    {"RedirectsElsewhere", "redirects-elsewhere", kNotStarted, kFailed},
    {"RedirectsToItself", "redirects-to-itself", kFailed, kFailed},
    {"NotFound", "not-found", kAccepted, kFailed},
    {"ServerError", "server-error", kAccepted, kFailed},
    {"Unavailable", "unavailable", kAccepted, kFailed},
    {"StatusIsNoNumber", "bad-status-line", kAccepted, kFailed},
    {"StatusOfFourDigits", "long-status", kAccepted, kFailed},
    {"StatusOfTwoDigits", "short-status", kAccepted, kFailed},
    {"StatusWithoutAReason", "no-reason", kAccepted, kAccepted},
    {"Garbage", "garbage", kAccepted, kFailed},
    {"ManyHeaders", "many-headers", kAccepted, kAccepted},
    // Read up to the limit of an answer and discarded, in bounded memory.
    {"HugeAnswer", "--size 0x2000000 huge-answer", kAccepted, kAccepted},
    {"AttributesWithoutEnd", "--size 0x2000000 endless-attributes", kAccepted, kFailed},
    {"BadChunkSize", "bad-chunk-size", kAccepted, kFailed},
    // Whether the platform still delivers the whole IPP answer after the number does not matter.
    {"HugeChunkSize", "huge-chunk-size", kAccepted, kFailed | kAccepted},
    {"NegativeChunkSize", "negative-chunk-size", kAccepted, kFailed | kAccepted},
    // Bytes that the probe leaves unread in the connection do not get into the job's answer.
    {"LateFinalChunk", "late-final-chunk", kAccepted, kFailed},
    {"MalformedAndMore", "malformed-then-more", kAccepted, kFailed},
    {"Html", "html", kAccepted, kFailed},
    {"EmptyAnswer", "empty-answer", kAccepted, kFailed},
    {"Busy", "--size 0x0507 ipp-status", kAccepted, kFailed},
    {"OutOfBandValue", "no-value", kAccepted, kFailed},
};

/// Counts the platform's handles that this process holds open.
class HandleCount {
  public:
    HandleCount() : functions_(testing::winInetFunctions()) {
        original_ = functions_;
        open_ = 0;
        functions_.internetOpen = internetOpen;
        functions_.internetConnect = internetConnect;
        functions_.httpOpenRequest = httpOpenRequest;
        functions_.internetCloseHandle = internetCloseHandle;
    }
    ~HandleCount() { functions_ = original_; }

    int open() const { return open_; }

  private:
    static HINTERNET counted(HINTERNET handle) {
        if (handle != nullptr) ++open_;
        return handle;
    }
    static HINTERNET WINAPI internetOpen(LPCSTR agent, DWORD access, LPCSTR proxy, LPCSTR bypass,
                                         DWORD flags) {
        return counted(original_.internetOpen(agent, access, proxy, bypass, flags));
    }
    static HINTERNET WINAPI internetConnect(HINTERNET root, LPCSTR server, INTERNET_PORT port,
                                            LPCSTR user, LPCSTR password, DWORD service,
                                            DWORD flags, DWORD_PTR context) {
        return counted(
            original_.internetConnect(root, server, port, user, password, service, flags, context));
    }
    static HINTERNET WINAPI httpOpenRequest(HINTERNET connection, LPCSTR verb, LPCSTR object,
                                            LPCSTR version, LPCSTR referrer, LPCSTR* types,
                                            DWORD flags, DWORD_PTR context) {
        return counted(original_.httpOpenRequest(connection, verb, object, version, referrer, types,
                                                 flags, context));
    }
    static BOOL WINAPI internetCloseHandle(HINTERNET handle) {
        const BOOL closed = original_.internetCloseHandle(handle);
        if (closed) --open_;
        return closed;
    }

    testing::WinInetFunctions& functions_;
    static inline testing::WinInetFunctions original_;
    static inline std::atomic<int> open_;
};

/// Waits until the printer has recorded how the request ended: otherwise it would be a matter of
/// luck whether, say, it still closes a connection that the platform keeps for the next request.
void waitForEndOf(int request, Peer& printer) {
    const std::string number = "\n" + std::to_string(request) + " ";
    const auto hasEnded = [&] {
        const std::string served = "\n" + printer.file("served").value_or("");
        // The line about a request that was read begins with its operation.
        for (std::size_t at = served.find(number); at != std::string::npos;
             at = served.find(number, at + 1)) {
            if (served.compare(at + number.size(), 2, "0x") != 0) return true;
        }
        return false;
    };
    EXPECT_TRUE(waitUntil(hasEnded)) << "request " << request << " has no end";
}

/// The process's peak memory so far.
std::size_t peakMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PeakWorkingSetSize;
}

/// All of them; the 64-bit build repeats every fourth.
std::vector<FaultCase> faults() {
    std::vector<FaultCase> chosen;
    const std::size_t step = sizeof(void*) == 8 ? 4 : 1;
    for (std::size_t index = 0; index < std::size(kFaults); index += step)
        chosen.push_back(kFaults[index]);
    return chosen;
}

class FaultyPrinters : public ::testing::Test {
  protected:
    testing::ShortPauses shortPauses;
    HandleCount handles;
};

class FaultyPrinter : public FaultyPrinters, public ::testing::WithParamInterface<FaultCase> {
  protected:
    void expectOutcome(int faultyRequest, unsigned allowed, std::size_t documentSize) {
        Peer printer("faulty_printer --on " + std::to_string(faultyRequest) + " " +
                     GetParam().arguments);
        const std::string document = testDocument(documentSize);
        const std::size_t memory = peakMemory();
        const Outcome outcome = runJob(printer.url(), document);
        EXPECT_NE(outcome & allowed, 0u) << "outcome " << outcome << "\n"
                                         << printer.file("served").value_or("");
        // The largest answers have 32 MiB; the reader keeps 4 MiB of attributes at most.
        EXPECT_LT(peakMemory(), memory + (16 << 20));
        EXPECT_EQ(handles.open(), 0);
        waitForEndOf(faultyRequest, printer);
        EXPECT_EQ(runJob(printer.url(), testDocument(5000)), kAccepted)
            << "the next job\n"
            << printer.file("served").value_or("");
    }
};

TEST_P(FaultyPrinter, HasItsOutcomeAndDoesNotSpoilTheNextJob) {
    {
        SCOPED_TRACE("the probe meets it");
        expectOutcome(1, GetParam().onProbe, 5000);
    }
    {
        SCOPED_TRACE("the job meets it");
        expectOutcome(2, GetParam().onJob, GetParam().documentSize);
    }
}

INSTANTIATE_TEST_SUITE_P(Every, FaultyPrinter, ::testing::ValuesIn(faults()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FaultyPrinters, RefusedConnectionDoesNotStartTheJob) {
    Peer refusing("faulty_printer refuses");
    Peer good("faulty_printer --on 0 slow");
    EXPECT_EQ(runJob(refusing.url(), testDocument(5000)), kNotStarted);
    EXPECT_EQ(handles.open(), 0);
    EXPECT_EQ(runJob(good.url(), testDocument(5000)), kAccepted);
}

TEST_F(FaultyPrinters, UnknownHostDoesNotStartTheJob) {
    EXPECT_EQ(runJob("ipp://printer.invalid/ipp/print", testDocument(5000)), kNotStarted);
    EXPECT_EQ(handles.open(), 0);
}

TEST_F(FaultyPrinters, PasswordAskedForOnlyByTheJobItselfFailsIt) {
    Peer printer("faulty_printer --on 2 unauthorized");
    EXPECT_EQ(runJob(printer.url(), testDocument(5000)), kFailed);
    EXPECT_EQ(handles.open(), 0);
    EXPECT_EQ(runJob(printer.url(), testDocument(5000)), kAccepted);
}

TEST_F(FaultyPrinters, SilentPrinterDoesNotHoldTheOthers) {
    auto silent = std::make_unique<Peer>("faulty_printer --seconds 60 never-answers");
    Peer good("faulty_printer --on 0 slow");
    std::atomic<bool> ended = false;
    Outcome outcome = kAccepted;
    std::thread held([&] {
        outcome = runJob(silent->url(), testDocument(5000));
        ended = true;
    });
    for (int job = 0; job < 3; ++job)
        EXPECT_EQ(runJob(good.url(), testDocument(100000)), kAccepted);
    EXPECT_FALSE(ended);
    silent.reset();  // closes the connection that the job waits on
    held.join();
    EXPECT_NE(outcome, kAccepted);
    EXPECT_EQ(handles.open(), 0);
}

}  // namespace
}  // namespace velmora
