// Many jobs, at once and one after another.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "harness/handle_count.h"
#include "harness/peer.h"
#include "harness/printing.h"
#include "harness/process_resources.h"
#include "harness/waiting.h"
#include "monitor/enum_ports.h"
#include "monitor/process_objects.h"
#include "port/policy_store.h"
#include "tests/monitor/jobs/job_test.h"

namespace velmora::testing {
namespace {

class JobLoad : public JobTest {};

TEST_F(JobLoad, SixtyFourPortsPrintAtOnceFromAsManyThreads) {
    constexpr int kPorts = 64;
    Peer printer("http_sink");
    std::vector<std::string> documents;
    std::vector<HANDLE> ports;
    for (int i = 0; i < kPorts; ++i) {
        documents.push_back(testDocument(10000 + 100 * i) + "#" + std::to_string(i) + "#");
        ports.push_back(singlePort(printer.url()));
    }
    std::vector<char> printed(kPorts);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < kPorts; ++i) {
            threads.emplace_back([&, i] {
                printed[i] = printJob(ports[i], documents[i], "Document " + std::to_string(i));
            });
        }
    }
    EXPECT_EQ(printed, std::vector<char>(kPorts, true));
    std::map<int, int> arrivals;
    for (int request = 1; request <= 2 * kPorts; ++request) {
        const auto body = printer.file("request-" + std::to_string(request) + ".body");
        ASSERT_TRUE(body) << request;
        for (int i = 0; i < kPorts; ++i) {
            if (body->ends_with(documents[i])) ++arrivals[i];
        }
    }
    EXPECT_EQ(arrivals.size(), std::size_t{kPorts});
    for (const auto& [document, count] : arrivals)
        EXPECT_EQ(count, 1) << document;
}

/// A job that is inside a platform call for as long as its printer wants.
class JobInAPlatformCall : public JobLoad {
  protected:
    /// Other ports print, are added, are listed and removed while the job waits.
    void expectOthersGoOn() {
        Peer printer("http_sink");
        const HANDLE other = singlePort(printer.url());
        EXPECT_TRUE(printJob(other, testDocument(5000)));
        EXPECT_TRUE(printJob(multiPort({printer.url(), printer.url()}), testDocument(5000)));
        DWORD needed = 0;
        DWORD returned = 0;
        EXPECT_FALSE(enumPortsW(nullptr, 2, nullptr, 0, &needed, &returned));
        EXPECT_GT(needed, 0u);
        portList()->remove(*static_cast<Port*>(other));
    }
};

TEST_F(JobInAPlatformCall, WaitingForAnAnswerHoldsUpNobodyElse) {
    auto silent = std::make_unique<Peer>("faulty_printer --seconds 60 never-answers");
    const HANDLE port = singlePort(silent->url());
    std::thread job([&] { printJob(port, "document"); });
    // The file is there before its line is.
    EXPECT_TRUE(waitUntil([&] { return silent->file("served").value_or("").ends_with('\n'); }));
    const auto asked = silent->file("served");
    expectOthersGoOn();
    EXPECT_EQ(silent->file("served"), asked) << "the printer gave up first";
    silent.reset();  // closes the connection that the job waits on
    job.join();
}

TEST_F(JobInAPlatformCall, WritingHoldsUpNobodyElse) {
    auto stuck = std::make_unique<Peer>("faulty_printer --on 2 --seconds 60 zero-window");
    const HANDLE port = singlePort(stuck->url());
    ASSERT_TRUE(unicodeJobs().start(port, "Printer X", 77, 1, "Report"));
    const std::string document = testDocument(32 << 20);
    std::atomic<bool> writing = false;
    std::atomic<bool> ended = false;
    std::thread job([&] {
        BOOL written = FALSE;
        writing = true;
        writeText(port, document, written);
        ended = true;
    });
    EXPECT_TRUE(waitUntil([&] { return writing.load(); }));
    expectOthersGoOn();
    EXPECT_FALSE(ended) << "the printer gave up first";
    stuck.reset();
    job.join();
    unicodeJobs().end(port);
}

/// The process's resources.
struct Holdings {
    double handles;
    double bytes;  ///< allocated
};

Holdings holdings() {
    return {static_cast<double>(handleCount()), static_cast<double>(usedHeapBytes())};
}

/// What each of `count` runs adds on average.
template <class Run>
Holdings growthPerRun(int count, Run run) {
    const Holdings before = holdings();
    for (int i = 0; i < count; ++i)
        run();
    const Holdings after = holdings();
    return {(after.handles - before.handles) / count, (after.bytes - before.bytes) / count};
}

void show(const char* what, int count, const Holdings& growth) {
    std::printf("%s, %d: %.2f handles and %.0f bytes each\n", what, count, growth.handles,
                growth.bytes);
}

DWORD WINAPI shortWait(HANDLE object, DWORD milliseconds) {
    return WaitForSingleObjectEx(object, milliseconds == 1000 ? 20 : milliseconds, FALSE);
}

constexpr int kWarmUp = 10;
constexpr int kJobs = 500;

TEST_F(JobLoad, HandlesAndMemoryAreCounted) {
    const Holdings before = holdings();
    std::vector<UniqueEvent> events;
    for (int i = 0; i < 100; ++i)
        events.emplace_back(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    const std::vector<char> memory(8 << 20, 'x');
    const Holdings after = holdings();
    EXPECT_EQ(after.handles - before.handles, 100);
    EXPECT_GE(after.bytes - before.bytes, 8 << 20);
}

TEST_F(JobLoad, JobsForOnePrinterLeaveTheirConnectionAndNothingElse) {
    Peer printer("http_sink --discard");
    const std::string document = testDocument(3000);
    const HANDLE port = singlePort(printer.url());
    const auto job = [&] { ASSERT_TRUE(printJob(port, document)); };
    // The same traffic without the monitor, its connections left open in the same way.
    const auto bare = [&] {
        auto connection = startJob(targetOf(printer.url()));
        ASSERT_TRUE(connection && sendDocument(*connection, document));
        static_cast<void>(connection.release());
    };
    for (int i = 0; i < kWarmUp; ++i) {
        job();
        bare();
    }
    const Holdings left = growthPerRun(100, bare);
    const Holdings growth = growthPerRun(kJobs, job);
    show("connections left open", 100, left);
    show("jobs for one printer", kJobs, growth);
    EXPECT_LE(growth.handles, left.handles + 0.1);
    EXPECT_LE(growth.bytes, left.bytes * 1.05 + 256);
}

void closeConnections() {
    Policy policy;
    policy.closeConnections = 1;
    ASSERT_TRUE(createPolicy(kDefaultMonitorKey, policy));
}

TEST_F(JobLoad, JobsForOnePrinterLeaveNothingIfThePolicyClosesTheirConnections) {
    closeConnections();
    Peer printer("http_sink --discard");
    const std::string document = testDocument(3000);
    const HANDLE port = singlePort(printer.url());
    const auto job = [&] { ASSERT_TRUE(printJob(port, document)); };
    // The platform makes a heap segment of 1 MiB when it first needs one.
    for (int i = 0; i < 20 * kWarmUp; ++i)
        job();
    const Holdings growth = growthPerRun(kJobs, job);
    show("jobs for one printer, connections closed", kJobs, growth);
    EXPECT_LE(growth.handles, 0.1);
    EXPECT_LE(growth.bytes, 256);
}

TEST_F(JobLoad, LargeHeadersStayWithTheConnectionOnly) {
    Peer printer("faulty_printer many-headers");
    const HANDLE port = singlePort(printer.url());
    const auto job = [&] { ASSERT_TRUE(printJob(port, "%!")); };
    constexpr int kFloods = 3;
    job();
    const Holdings left = growthPerRun(kFloods, job);
    show("jobs whose answers have 65,536 headers", kFloods, left);
    EXPECT_GE(left.handles, 0.9);
    EXPECT_GE(left.bytes, 1 << 20);
    closeConnections();
    job();
    const Holdings closed = growthPerRun(kFloods, job);
    show("the same, connections closed", kFloods, closed);
    EXPECT_LE(closed.handles, 0.5);
    EXPECT_LE(closed.bytes, 4096);
}

TEST_F(JobLoad, JobsForSeveralPrintersLeaveNothing) {
    // The real steps in which a job waits for its workers would only take time here.
    const ImportPatch shortSteps("KERNEL32.dll", "WaitForSingleObject",
                                 reinterpret_cast<void (*)()>(&shortWait));
    Peer printer("http_sink --discard");
    const std::string document = testDocument(3000);
    const HANDLE port = multiPort({printer.url(), printer.url()});
    const auto job = [&] { ASSERT_TRUE(printJob(port, document)); };
    for (int i = 0; i < kWarmUp; ++i)
        job();
    const Holdings growth = growthPerRun(kJobs, job);
    show("jobs for two printers", kJobs, growth);
    EXPECT_LE(growth.handles, 0.1);
    EXPECT_LE(growth.bytes, 256);
}

}  // namespace
}  // namespace velmora::testing
