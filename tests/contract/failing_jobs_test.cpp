// Documents: what the printers got, what the spooler was told and what the record says.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>

#include "tests/contract/fault_scenarios.h"

namespace velmora::testing {
namespace {

/// The printers of a test, counting the bytes of each request.
class CountedRequests {
  public:
    CountedRequests() : printers_(winInetFunctions()) {
        WinInetFunctions& functions = winInetFunctions();
        functions.httpSendRequestEx = &begin;
        functions.internetWriteFile = &write;
        functions.httpEndRequest = &end;
        present = this;
        clear();
    }
    ~CountedRequests() {
        winInetFunctions() = printers_;
        present = nullptr;
    }
    CountedRequests(const CountedRequests&) = delete;
    CountedRequests& operator=(const CountedRequests&) = delete;

    void clear() {
        const std::lock_guard lock(mutex_);
        ended_.clear();
    }
    std::size_t largest() {
        const std::lock_guard lock(mutex_);
        return ended_.empty() ? 0 : *std::ranges::max_element(ended_);
    }
    /// How many requests of that size have ended.
    long count(std::size_t size) {
        const std::lock_guard lock(mutex_);
        return static_cast<long>(std::ranges::count(ended_, size));
    }

  private:
    static BOOL WINAPI begin(HINTERNET request, LPINTERNET_BUFFERSA in, LPINTERNET_BUFFERSA out,
                             DWORD flags, DWORD_PTR context) {
        {
            const std::lock_guard lock(present->mutex_);
            present->open_[request] = 0;
        }
        return present->printers_.httpSendRequestEx(request, in, out, flags, context);
    }
    static BOOL WINAPI write(HINTERNET request, LPCVOID data, DWORD size, LPDWORD written) {
        {
            const std::lock_guard lock(present->mutex_);
            present->open_[request] += size;
        }
        return present->printers_.internetWriteFile(request, data, size, written);
    }
    static BOOL WINAPI end(HINTERNET request, LPINTERNET_BUFFERSA out, DWORD flags,
                           DWORD_PTR context) {
        {
            const std::lock_guard lock(present->mutex_);
            present->ended_.push_back(present->open_[request]);
        }
        return present->printers_.httpEndRequest(request, out, flags, context);
    }

    inline static CountedRequests* present = nullptr;

    const WinInetFunctions printers_;
    std::mutex mutex_;
    std::map<HINTERNET, std::size_t> open_;
    std::vector<std::size_t> ended_;
};

class FailingJobs : public FailingCallsTest {
  protected:
    struct Job {
        const char* name;
        const Table& table;
        const char* port;
        bool recorded = false;
        /// One of so many allocations and WinInet calls is tried. Four threads take turns.
        std::size_t every = 1;
    };

    HANDLE port(const char* name) {
        HANDLE handle = nullptr;
        EXPECT_TRUE(ansi_.entry<OpenPortAEntry>(2)(name, &handle));
        return handle;
    }

    /// A whole job as the spooler does it, in words.
    std::string print(const Job& job, HANDLE port) {
        requests_.clear();
        char ansiName[] = "Report";
        wchar_t wideName[] = L"Report";
        DOC_INFO_1A ansi{ansiName, nullptr, nullptr};
        DOC_INFO_1W wide{wideName, nullptr, nullptr};
        BYTE* const document =
            &job.table == &ansi_ ? reinterpret_cast<BYTE*>(&ansi) : reinterpret_cast<BYTE*>(&wide);
        std::string text = "refused";
        bool early = false;
        if (job.table.entry<StartDoc>(4)(port, nullptr, 7, 1, document)) {
            BYTE data[1500] = {};
            DWORD written = 0;
            const BOOL result = job.table.entry<PortTransfer>(5)(port, data, sizeof data, &written);
            EXPECT_TRUE(!result || written == sizeof data);
            early = FailingCalls::happened();
            EXPECT_TRUE(job.table.entry<PortCall>(7)(port));
            text = result ? "written" : "not written";
        }
        const long whole = whole_ == 0 ? 0 : requests_.count(whole_);
        text += ", " + std::to_string(whole) + " whole";
        // Failures that the spooler is not told of, although they happened before the end.
        if (text == "written, 0 whole" && early) text += ", lost in silence";
        if (job.recorded) text += takeRecord();
        return text;
    }
    /// The size of a whole document's request.
    void measure(const Job& job, HANDLE port) {
        print(job, port);
        whole_ = requests_.largest();
        ASSERT_GT(whole_, 1500u);
    }

    static std::string recordPath() {
        char directory[MAX_PATH] = {};
        GetSystemDirectoryA(directory, MAX_PATH);
        return std::string(directory) + "\\spool\\Velmora";
    }
    static void removeRecord() {
        for (const char* name : {"\\deliveries.jsonl", "\\deliveries.lock"})
            DeleteFileA((recordPath() + name).c_str());
        RemoveDirectoryA(recordPath().c_str());
    }
    /// Counts the copies that the record calls accepted and the others, and starts a new record.
    std::string takeRecord() {
        // Ending the monitor writes the lines, on a thread that then ends.
        monitor2_.entry<void(WINAPI*)(HANDLE)>(18)(nullptr);
        while (FailingCalls::held().threads != 0)
            SleepEx(1, FALSE);
        int accepted = 0, failed = 0;
        {
            std::ifstream file(recordPath() + "\\deliveries.jsonl");
            for (std::string line; std::getline(file, line);)
                ++(line.find("\"outcome\":\"accepted\"") != line.npos ? accepted : failed);
        }
        removeRecord();
        return "; record: " + std::to_string(accepted) + " accepted, " + std::to_string(failed) +
               " failed";
    }

    void setPolicy(bool recorded) {
        for (const auto& [name, value] : {std::pair{"StatedSizes", 1u},
                                          {"CloseConnections", 1u},
                                          {"ConnectTimeout", 30u},
                                          {"SendTimeout", 120u},
                                          {"ReceiveTimeout", 300u},
                                          {"PromptDelivery", 1u},
                                          {"DeliveryRecord", recorded ? 1u : 0u},
                                          {"EventLog", recorded ? 2u : 0u}})
            writeRegistryRaw(kDefaultMonitorKey + "\\Policy", name, REG_DWORD,
                             Bytes().u32(value).data());
        dll_.monitor2();
    }

    void tryJob(const Job& job, const std::string& good, std::vector<Documented> documented,
                const HeldResources& kept = {}) {
        const HANDLE handle = port(job.port);
        measure(job, handle);
        Scenario scenario{.name = job.name,
                          .before = [] {},
                          .call = [&] { return print(job, handle); },
                          .good = good,
                          .documented = std::move(documented),
                          .kept = kept};
        if (job.every == 1 || std::getenv("VELMORA_EVERY_CALL") != nullptr) {
            tryEverywhere(scenario);
            return;
        }
        constexpr unsigned kFrequent = kMemoryFault | kInternetFault;
        scenario.kinds = kEveryFault & ~kFrequent;
        tryEverywhere(scenario);
        scenario.kinds = kFrequent;
        scenario.step = job.every;
        tryEverywhere(scenario);
    }

    CountedRequests requests_;
    std::size_t whole_ = 0;
};

/// The spooler is told of every failure before the end of the document; a failure at the end is
/// only in the record.
const std::vector<Documented> kToOnePrinter{
    {kMemoryFault | kInternetFault, "refused, 0 whole"},
    {kMemoryFault | kInternetFault, "not written, 0 whole"},
    {kMemoryFault | kInternetFault, "written, 0 whole"},
};

// A job that could not start stays with its port, and connections stay open.
constexpr HeldResources kKeptWithoutPolicy{0, 0, 3, 1, 100};

TEST_F(FailingJobs, ToOnePrinter) {
    tryJob({"job of MONITOR2 to one printer", monitor2_, "One"}, "written, 1 whole", kToOnePrinter,
           kKeptWithoutPolicy);
    tryJob({"job of MONITOREX to one printer", monitorEx_, "One"}, "written, 1 whole",
           kToOnePrinter, kKeptWithoutPolicy);
    tryJob({"job of MONITOR to one printer", ansi_, "One"}, "written, 1 whole", kToOnePrinter,
           kKeptWithoutPolicy);
}

TEST_F(FailingJobs, ToOnePrinterWithPolicy) {
    setPolicy(false);
    tryJob({"job of MONITOR2 to one printer, policy", monitor2_, "One"}, "written, 1 whole",
           kToOnePrinter);
    tryJob({"job of MONITOR to one printer, policy", ansi_, "One"}, "written, 1 whole",
           kToOnePrinter);
}

TEST_F(FailingJobs, ToOnePrinterRecorded) {
    removeRecord();
    setPolicy(true);
    std::vector<Documented> documented;
    for (const char* outcome : {"refused, 0 whole", "not written, 0 whole", "written, 0 whole"}) {
        const std::string text = outcome;
        documented.push_back(
            {kMemoryFault | kInternetFault, text + "; record: 0 accepted, 1 failed"});
        documented.push_back({kMemoryFault, text + "; record: 0 accepted, 0 failed"});
    }
    // Only the answer tells whether the printer has accepted it.
    documented.push_back({kInternetFault, "written, 0 whole; record: 1 accepted, 0 failed"});
    // Complete, but without an answer that confirms it.
    documented.push_back(
        {kMemoryFault | kInternetFault, "written, 1 whole; record: 0 accepted, 1 failed"});
    documented.push_back({kMemoryFault | kThreadFault | kFileFault | kRegistryFault,
                          "written, 1 whole; record: 0 accepted, 0 failed"});
    tryJob({"job to one printer, recorded", monitor2_, "One", true},
           "written, 1 whole; record: 1 accepted, 0 failed", documented,
           {.blocks = 4});  // what is remembered of a failure, so that it is not told twice
}

/// One printer of four, or those that a partly read directory leads to. The others get the whole
/// document.
const std::vector<Documented> kToFourPrinters{
    {kMemoryFault | kThreadFault | kEventFault | kInternetFault, "written, 3 whole"},
    {kMemoryFault | kEventFault, "refused, 0 whole"},
    {kMemoryFault, "not written, 0 whole"},
    {kRegistryFault, "written, 3 whole"},
    {kRegistryFault, "written, 2 whole"},
    {kRegistryFault, "written, 1 whole"},
    {kRegistryFault, "not written, 0 whole"},
};

TEST_F(FailingJobs, ToFourPrinters) {
    constexpr HeldResources kKept{0, 0, 12, 1, 400};
    tryJob({"job of MONITOR2 to four printers", monitor2_, "Four", false, 11}, "written, 4 whole",
           kToFourPrinters, kKept);
    tryJob({"job of MONITOR to four printers", ansi_, "Four", false, 37}, "written, 4 whole",
           kToFourPrinters, kKept);
}

TEST_F(FailingJobs, ToFourPrintersWithPolicy) {
    setPolicy(false);
    tryJob({"job to four printers, policy", monitor2_, "Four", false, 9}, "written, 4 whole",
           kToFourPrinters);
}

}  // namespace
}  // namespace velmora::testing
